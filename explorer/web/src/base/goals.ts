// Where somebody may want to go who typed a few words: places and moments.

import { MOST_CYCLE } from './cycles';

export type Goal =
  | { readonly kind: 'cycle'; readonly cycle: bigint }
  | { readonly kind: 'step' | 'record'; readonly number: number }
  | { readonly kind: 'packet'; readonly packet: bigint }
  | { readonly kind: 'link'; readonly link: readonly [number, number, 'right' | 'left' | 'up' | 'down'] }
  | { readonly kind: 'pe' | 'switch' | 'domain' | 'cluster'; readonly place: readonly [number, number] };

const NUMBER = /^(?:(cycle|step|record|packet|c|s|r|p)\s*:?\s*)?(\d[\d,]*)$/i;
const PLACE = /^(?:(pe|switch|domain|cluster)\s*:?\s*)?\(?(\d{1,6})\s*[,;x ]\s*(\d{1,6})\)?$/i;
const LINK = /^link\s*:?\s*\(?(\d{1,6})\s*[,;x ]\s*(\d{1,6})\)?\s+(right|left|up|down)$/i;
const LONG = { c: 'cycle', s: 'step', r: 'record', p: 'packet' } as const;

function numberGoal(kind: string, digits: string): Goal | undefined {
  const number = BigInt(digits);
  if (number > MOST_CYCLE) {
    return undefined;
  }
  switch (kind) {
    case 'cycle':
      return { kind, cycle: number };
    case 'packet':
      return { kind, packet: number };
    case 'step':
    case 'record':
      return number > BigInt(Number.MAX_SAFE_INTEGER) ? undefined : { kind, number: Number(number) };
    default:
      return undefined;
  }
}

/** A number alone may be a cycle or a step; two numbers are a PE. */
export function goalsOf(text: string): readonly Goal[] {
  const trimmed = text.trim().replace(/\s+/g, ' ');
  const thousands = /^\d{1,3}(,\d{3})+$/.test(trimmed);
  const place = PLACE.exec(trimmed);
  const goals: (Goal | undefined)[] = [];
  if (place !== null) {
    const kind = (place[1]?.toLowerCase() ?? 'pe') as 'pe';
    goals.push({ kind, place: [Number(place[2]), Number(place[3])] });
  }
  const link = LINK.exec(trimmed);
  if (link !== null) {
    const way = (link[3]?.toLowerCase() ?? 'right') as 'right';
    goals.push({ kind: 'link', link: [Number(link[1]), Number(link[2]), way] });
  }
  const number = NUMBER.exec(trimmed);
  if (number !== null && (place === null || thousands)) {
    const digits = (number[2] ?? '').replaceAll(',', '');
    const word = number[1]?.toLowerCase();
    const kind = word === undefined ? undefined : (LONG[word as keyof typeof LONG] ?? word);
    goals.push(...(kind === undefined ? ['cycle', 'step'] : [kind]).map((each) => numberGoal(each, digits)));
  }
  return goals.filter((goal) => goal !== undefined);
}
