// What single words of a filter ask for, each added to what those before it do.

import { MOST_CYCLE } from './cycles';

export type EventWord = 'fire' | 'send' | 'switch';
export type Pair = readonly [number, number];
type ThreadRange = readonly [number, number];

/** What the words ask for; each member is there only where a word asks. Ends are included. */
export interface FilterTerms {
  /** Whether the events are asked for that do not meet all of this. */
  not?: boolean;
  types?: EventWord[];
  threads?: ThreadRange[];
  place?: Pair;
  rect?: readonly [number, number, number, number];
  domain?: Pair;
  cluster?: Pair;
  from?: Pair;
  to?: Pair;
  cycles?: readonly [bigint, bigint];
  steps?: readonly [number, number];
  records?: readonly [number, number];
  notes?: ({ attribute: string; value: bigint } | { where: string })[];
}

/** An attribute of the notes that can be asked for, with names of its values if it has any. */
export interface FilterAttribute {
  readonly name: string;
  readonly type?: string;
  readonly names?: ReadonlyMap<string, bigint>;
}

export const TYPES: readonly EventWord[] = ['fire', 'send', 'switch'];
export const PLACES = ['pe', 'rect', 'domain', 'cluster', 'from', 'to'] as const;
export const NUMBERS = ['cycle', 'step', 'record'] as const;
const MOST_NUMBER = BigInt(Number.MAX_SAFE_INTEGER);
const MOST_THREAD = 0xffffffffn;
const MOST_RANGES = 256; // that the engine takes

type PlaceName = (typeof PLACES)[number];
type NumberName = (typeof NUMBERS)[number];

/** Why a word cannot be used, as a sentence. */
export class Trouble extends Error {}

/** A word: what stands before its sign, and behind it. */
export interface Split {
  name: string;
  sign: string;
  value: string;
}

function whole(value: string, what: string, most: bigint): bigint {
  const digits = value.replace(/(?<=\d),(?=\d{3}(?:,|$))/gu, '');
  if (!/^\d{1,20}$/u.test(digits)) throw new Trouble(`${what} is a whole number.`);
  const number = BigInt(digits);
  if (number > most) throw new Trouble(`${what} is at most ${most}.`);
  return number;
}

function pair(value: string, name: string): Pair {
  const found = /^(\d{1,6}),(\d{1,6})$/u.exec(value);
  if (found === null) throw new Trouble(`Say column and row: ${name}:3,7.`);
  return [Number(found[1]), Number(found[2])];
}

function rectangle(value: string): readonly [number, number, number, number] {
  const ends = value.split('..');
  if (ends.length !== 2) throw new Trouble('Say two corners: rect:0,0..3,7.');
  const [a, b] = [pair(ends[0]!, 'rect'), pair(ends[1]!, 'rect')];
  return [Math.min(a[0], b[0]), Math.min(a[1], b[1]), Math.max(a[0], b[0]), Math.max(a[1], b[1])];
}

/** First and last of what a sign and a value mean. */
function interval(word: Split, most: bigint): [bigint, bigint] {
  const what = `A ${word.name}`;
  const ends = word.value.split('..');
  if ((word.sign === ':' || word.sign === '=') && ends.length === 2) {
    const [first, last] = [whole(ends[0]!, what, most), whole(ends[1]!, what, most)];
    if (first > last) throw new Trouble(`The first ${word.name} comes before the last.`);
    return [first, last];
  }
  const at = whole(word.value, what, most);
  switch (word.sign) {
    case '>':
      if (at === most) throw new Trouble(`No ${word.name} comes after that.`);
      return [at + 1n, most];
    case '>=':
      return [at, most];
    case '<':
      if (at === 0n) throw new Trouble(`No ${word.name} comes before 0.`);
      return [0n, at - 1n];
    case '<=':
      return [0n, at];
    default:
      return [at, at];
  }
}

function narrowed(
  had: readonly [bigint, bigint] | undefined,
  to: [bigint, bigint],
  name: string,
): [bigint, bigint] {
  if (had === undefined) return to;
  const first = had[0] > to[0] ? had[0] : to[0];
  const last = had[1] < to[1] ? had[1] : to[1];
  if (first > last) throw new Trouble(`No ${name} is in both ranges.`);
  return [first, last];
}

export function addNumber(terms: FilterTerms, name: NumberName, word: Split): void {
  if (word.sign === '!=' || word.sign === '~') throw new Trouble(`Say ${name}:…`);
  if (name === 'cycle') {
    terms.cycles = narrowed(terms.cycles, interval(word, MOST_CYCLE), name);
    return;
  }
  const key = name === 'step' ? 'steps' : 'records';
  const had = terms[key];
  const old = had && ([BigInt(had[0]), BigInt(had[1])] as const);
  const [first, last] = narrowed(old, interval(word, MOST_NUMBER), name);
  terms[key] = [Number(first), Number(last)];
}

/** Of words that know nothing but this one. */
function refuseSign(word: Split): void {
  if (word.sign !== ':' && word.sign !== '=') throw new Trouble(`Say ${word.name}:…`);
}

function refuseSecond(terms: FilterTerms, name: PlaceName): void {
  const regions = (['place', 'rect', 'domain', 'cluster'] as const).filter((k) => k in terms);
  const ends = name === 'from' || name === 'to';
  if (ends && terms.not === true) throw new Trouble('`not` does not stand beside `from` and `to`.');
  if (name in terms || (regions.length > 0 && !ends)) {
    throw new Trouble('One place is enough: there is another one.');
  }
  if (ends ? regions.length > 0 : 'from' in terms || 'to' in terms) {
    throw new Trouble('`from` and `to` stand without another place.');
  }
}

export function addPlace(terms: FilterTerms, name: PlaceName, word: Split): void {
  refuseSign(word);
  refuseSecond(terms, name);
  if (name === 'rect') {
    terms.rect = rectangle(word.value);
  } else {
    terms[name === 'pe' ? 'place' : name] = pair(word.value, name);
  }
}

/** What a note is compared with: a name of one of its values, or a number. */
function noteValue(attribute: FilterAttribute, value: string): string {
  if (attribute.names?.has(value) === true) return value;
  if (attribute.type === 'real' && /^-?\d+(?:\.\d+)?(?:e[+-]?\d+)?$/iu.test(value)) return value;
  return String(whole(value, `Of ${attribute.name}, a value`, MOST_CYCLE));
}

export function addNote(terms: FilterTerms, attribute: FilterAttribute, word: Split): void {
  const { name } = attribute;
  if (terms.not === true) throw new Trouble(`\`not\` and notes do not stand together: say ${name}!=…`);
  const sign = word.sign === ':' ? '=' : word.sign;
  const value = word.value
    .split(sign === '=' ? '..' : ' ')
    .map((end) => noteValue(attribute, end))
    .join('..');
  const exact = sign === '=' && attribute.type !== 'real' && !value.includes('..');
  const note = exact
    ? { attribute: name, value: attribute.names?.get(value) ?? BigInt(value) }
    : { where: name + sign + value };
  terms.notes = [...(terms.notes ?? []), note];
}

function threadRange(text: string): ThreadRange {
  const [first, last] = text.split('-').map((end) => Number(whole(end, 'A thread', MOST_THREAD)));
  if (first === undefined || first > (last ?? first)) throw new Trouble('Say threads in order: thread:0,2-5.');
  return [first, last ?? first];
}

/** All threads but those of some ranges, in order. */
function otherThreads(ranges: readonly ThreadRange[]): ThreadRange[] {
  const others: ThreadRange[] = [];
  let next = 0;
  for (const [first, last] of [...ranges].sort((a, b) => a[0] - b[0])) {
    if (first > next) others.push([next, first - 1]);
    next = Math.max(next, last + 1);
  }
  if (next <= Number(MOST_THREAD)) others.push([next, Number(MOST_THREAD)]);
  return others;
}

export function addThreads(terms: FilterTerms, word: Split): void {
  if (terms.threads !== undefined) throw new Trouble('Say threads together: thread:0,2-5.');
  if (word.sign !== '!=') refuseSign(word);
  if (!/^\d+(?:-\d+)?(?:,\d+(?:-\d+)?)*$/u.test(word.value)) {
    throw new Trouble('A thread is a whole number; of several say thread:0,2-5.');
  }
  const said = word.value.split(',').map(threadRange);
  const threads = word.sign === '!=' ? otherThreads(said) : said;
  if (threads.length === 0) throw new Trouble('There are no other threads.');
  if (threads.length > MOST_RANGES) throw new Trouble(`Say at most ${MOST_RANGES} ranges of threads.`);
  terms.threads = threads;
}

export function isOneOf<T extends string>(name: string, list: readonly T[]): name is T {
  return (list as readonly string[]).includes(name);
}
