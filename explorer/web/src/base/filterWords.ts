// The words by which events are chosen, as people type them: `send thread:1 to:3,3 cycle>=4000`.
//
// Words stand beside each other and all must hold, but types, of which any may. Reading never fails:
// each word that cannot be used says why, and the others still mean what they mean, so that a box
// can mark the one word while it is being typed.

import { MOST_CYCLE } from './cycles';
import { nearestWord } from './nearestWord';

export type EventWord = 'fire' | 'send' | 'switch';
export type Pair = readonly [number, number];

/** What the words ask for; each member is there only where a word asks. Ends are included. */
export interface FilterTerms {
  types?: EventWord[];
  thread?: number;
  place?: Pair;
  rect?: readonly [number, number, number, number];
  domain?: Pair;
  cluster?: Pair;
  from?: Pair;
  to?: Pair;
  cycles?: readonly [bigint, bigint];
  steps?: readonly [number, number];
  records?: readonly [number, number];
  notes?: { attribute: string; value: bigint }[];
}

export interface FilterWord {
  /** Where it stands in the text. */
  readonly start: number;
  readonly end: number;
  readonly text: string;
  /** Up to the sign, and what follows it; a type has no value. */
  readonly name: string;
  readonly sign: string;
  readonly value: string;
  /** Why it cannot be used, as a sentence; and the word to put in its place, if one is near. */
  readonly trouble?: string;
  readonly suggestion?: string;
}

export interface FilterWords {
  readonly words: readonly FilterWord[];
  readonly terms: FilterTerms;
  /** Whether every word can be used. */
  readonly usable: boolean;
}

/** An attribute of the notes that can be asked for, with names of its values if it has any. */
export interface FilterAttribute {
  readonly name: string;
  readonly names?: ReadonlyMap<string, bigint>;
}

const TYPES: readonly EventWord[] = ['fire', 'send', 'switch'];
const PLACES = ['pe', 'rect', 'domain', 'cluster', 'from', 'to'] as const;
const NUMBERS = ['cycle', 'step', 'record'] as const;
const MOST_NUMBER = BigInt(Number.MAX_SAFE_INTEGER);

type PlaceName = (typeof PLACES)[number];
type NumberName = (typeof NUMBERS)[number];

/** All names that may stand before a sign, and the types that stand alone. */
export function knownWords(attributes: readonly FilterAttribute[] = []): string[] {
  return [...TYPES, 'thread', ...PLACES, ...NUMBERS, ...attributes.map((a) => a.name)];
}

class Trouble extends Error {}

interface Split {
  name: string;
  sign: string;
  value: string;
}

function split(text: string): Split {
  const found = /^([^:<>=]+)(<=|>=|:|=|<|>)?(.*)$/u.exec(text);
  if (found === null) return { name: text, sign: '', value: '' };
  return { name: found[1]!, sign: found[2] ?? '', value: found[3]! };
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

function addNumber(terms: FilterTerms, name: NumberName, word: Split): void {
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

function refuseSecond(terms: FilterTerms, name: PlaceName): void {
  const regions = (['place', 'rect', 'domain', 'cluster'] as const).filter((k) => k in terms);
  const ends = name === 'from' || name === 'to';
  if (name in terms || (regions.length > 0 && !ends)) {
    throw new Trouble('One place is enough: there is another one.');
  }
  if (ends ? regions.length > 0 : 'from' in terms || 'to' in terms) {
    throw new Trouble('`from` and `to` stand without another place.');
  }
}

function addPlace(terms: FilterTerms, name: PlaceName, word: Split): void {
  refuseSecond(terms, name);
  if (name === 'rect') {
    terms.rect = rectangle(word.value);
  } else {
    terms[name === 'pe' ? 'place' : name] = pair(word.value, name);
  }
}

function addNote(terms: FilterTerms, attribute: FilterAttribute, word: Split): void {
  const named = attribute.names?.get(word.value);
  const value = named ?? whole(word.value, `Of ${attribute.name}, a value`, MOST_CYCLE);
  terms.notes = [...(terms.notes ?? []), { attribute: attribute.name, value }];
}

function addThread(terms: FilterTerms, word: Split): void {
  if (terms.thread !== undefined) throw new Trouble('One thread is enough: there is another one.');
  terms.thread = Number(whole(word.value, 'A thread', 0xffffffffn));
}

function isOneOf<T extends string>(name: string, list: readonly T[]): name is T {
  return (list as readonly string[]).includes(name);
}

/** Adds what a word with a sign asks for; false where its name is not known. */
function addSigned(terms: FilterTerms, word: Split, attributes: readonly FilterAttribute[]): boolean {
  const name = word.name.toLowerCase();
  if (isOneOf(name, NUMBERS)) {
    addNumber(terms, name, { ...word, name });
    return true;
  }
  const attribute = attributes.find((a) => a.name === word.name);
  const known = isOneOf(name, PLACES) || name === 'thread' || attribute !== undefined;
  if (!known) return false;
  if (word.sign !== ':' && word.sign !== '=') throw new Trouble(`Say ${word.name}:…`);
  if (name === 'thread') addThread(terms, word);
  else if (isOneOf(name, PLACES)) addPlace(terms, name, word);
  else addNote(terms, attribute!, word);
  return true;
}

function addWord(terms: FilterTerms, word: Split, attributes: readonly FilterAttribute[]): boolean {
  const name = word.name.toLowerCase();
  if (isOneOf(name, TYPES) && word.sign === '') {
    terms.types = [...new Set([...(terms.types ?? []), name])];
    return true;
  }
  if (word.sign === '') {
    const known = knownWords(attributes).includes(name);
    if (known) throw new Trouble(`Say what follows: ${name}:…`);
    return false;
  }
  return addSigned(terms, word, attributes);
}

function unknown(word: Split, attributes: readonly FilterAttribute[]): Partial<FilterWord> {
  const near = nearestWord(word.name, knownWords(attributes));
  const sentence = `I do not know \`${word.name}\`.`;
  if (near === undefined) return { trouble: sentence };
  return {
    trouble: `${sentence} Do you mean \`${near}\`?`,
    suggestion: near + word.sign + word.value,
  };
}

/** Reads a text; `attributes` are those of the trace's notes. */
export function readFilterWords(text: string, attributes: readonly FilterAttribute[] = []): FilterWords {
  const terms: FilterTerms = {};
  const words: FilterWord[] = [];
  for (const found of text.matchAll(/\S+/gu)) {
    const parts = split(found[0]);
    const place = { start: found.index, end: found.index + found[0].length, text: found[0] };
    let problem: Partial<FilterWord> = {};
    try {
      if (!addWord(terms, parts, attributes)) problem = unknown(parts, attributes);
    } catch (error) {
      if (!(error instanceof Trouble)) throw error;
      problem = { trouble: error.message };
    }
    words.push({ ...place, ...parts, ...problem });
  }
  return { words, terms, usable: words.every((w) => w.trouble === undefined) };
}

/** The text without one of its words. */
export function withoutWord(words: FilterWords, index: number): string {
  return words.words
    .filter((_, at) => at !== index)
    .map((word) => word.text)
    .join(' ');
}

/** The text with another word in the place of one. */
export function withWord(words: FilterWords, index: number, text: string): string {
  return words.words.map((word, at) => (at === index ? text : word.text)).join(' ');
}

/** Names that continue the word that ends at `caret`, and what they are typed as. */
export function continuations(
  text: string,
  caret: number,
  attributes: readonly FilterAttribute[] = [],
): string[] {
  const begun = /\S*$/u.exec(text.slice(0, caret))![0].toLowerCase();
  if (begun === '' || /[:<>=]/u.test(begun)) return [];
  return knownWords(attributes)
    .filter((name) => name.toLowerCase().startsWith(begun) && name.toLowerCase() !== begun)
    .map((name) => (isOneOf(name, TYPES) ? name : `${name}:`));
}
