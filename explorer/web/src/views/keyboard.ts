import { isTyping, keyName } from '../commands/hotkeys';
import type { Registry } from '../commands/registry';

/** Runs commands by their keys, but in text; returns what ends that. */
export function followKeys(commands: Registry): () => void {
  const press = (event: KeyboardEvent) => {
    const key = keyName(event);
    const id = key === undefined ? undefined : commands.commandOf(key);
    if (id === undefined || event.defaultPrevented || isTyping(event.target)) {
      return;
    }
    // A focused button answers to Space and Enter itself.
    if (key === 'Space' && event.target instanceof HTMLButtonElement) {
      return;
    }
    if (commands.run(id)) {
      event.preventDefault();
    }
  };
  // Panels zoom by Ctrl and the wheel; the browser must not zoom the page as well.
  const wheel = (event: WheelEvent) => {
    if (event.ctrlKey) {
      event.preventDefault();
    }
  };
  document.addEventListener('keydown', press);
  document.addEventListener('wheel', wheel, { passive: false });
  return () => {
    document.removeEventListener('keydown', press);
    document.removeEventListener('wheel', wheel);
  };
}
