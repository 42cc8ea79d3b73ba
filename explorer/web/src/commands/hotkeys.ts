export interface KeyPress {
  readonly key: string;
  readonly code: string;
  readonly shiftKey: boolean;
  readonly ctrlKey: boolean;
  readonly metaKey: boolean;
  readonly altKey: boolean;
}

/**
 * The name of what was pressed, as the table of keys has it; undefined for what cannot stand there.
 * Of letters the place on the keyboard counts, of other keys what they write; Shift is told only
 * where it does not make another character.
 */
export function keyName(press: KeyPress): string | undefined {
  if (press.altKey) {
    return undefined;
  }
  const control = press.ctrlKey || press.metaKey;
  const letter = /^Key([A-Z])$/.exec(press.code)?.[1];
  const base = letter ?? (press.key === ' ' ? 'Space' : press.key);
  const shifted = press.shiftKey && (letter !== undefined || base.length > 1);
  return `${control ? 'Ctrl+' : ''}${shifted ? 'Shift+' : ''}${base}`;
}

const TYPED = new Set(['text', 'search', 'number', 'email', 'url', 'password', 'tel']);

/** Whether keys belong to the text that is typed there. */
export function isTyping(target: EventTarget | null): boolean {
  if (target instanceof HTMLInputElement) {
    return TYPED.has(target.type);
  }
  return (
    target instanceof HTMLTextAreaElement ||
    target instanceof HTMLSelectElement ||
    (target instanceof HTMLElement && target.isContentEditable)
  );
}
