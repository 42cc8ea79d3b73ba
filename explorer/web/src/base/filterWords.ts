// The words by which events are chosen, as people type them: `send thread:1 to:3,3 cycle>=4000`.
//
// Words stand beside each other and all must hold, but types, of which any may. Reading never fails:
// each word that cannot be used says why, and the others still mean what they mean, so that a box
// can mark the one word while it is being typed.

import {
  NUMBERS,
  PLACES,
  TYPES,
  Trouble,
  addNote,
  addNumber,
  addPlace,
  addThreads,
  isOneOf,
  type FilterAttribute,
  type FilterTerms,
  type Split,
} from './filterTerms';
import { nearestWord } from './nearestWord';

export type { EventWord, FilterAttribute, FilterTerms, Pair } from './filterTerms';

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

const NOT = 'not';

/** All names that may stand before a sign, and the types that stand alone. */
export function knownWords(attributes: readonly FilterAttribute[] = []): string[] {
  return [...TYPES, NOT, 'thread', ...PLACES, ...NUMBERS, ...attributes.map((a) => a.name)];
}

function split(text: string): Split {
  const found = /^((?:[^:<>=!~]|!(?!=))+)(<=|>=|!=|:|=|<|>|~)?(.*)$/u.exec(text);
  if (found === null) return { name: text, sign: '', value: '' };
  return { name: found[1]!, sign: found[2] ?? '', value: found[3]! };
}

/** Adds what a word with a sign asks for; false where its name is not known. */
function addSigned(terms: FilterTerms, word: Split, attributes: readonly FilterAttribute[]): boolean {
  const name = word.name.toLowerCase();
  if (isOneOf(name, NUMBERS)) {
    addNumber(terms, name, { ...word, name });
    return true;
  }
  const attribute = attributes.find((a) => a.name === word.name);
  if (name === 'thread') addThreads(terms, word);
  else if (isOneOf(name, PLACES)) addPlace(terms, name, word);
  else if (attribute !== undefined) addNote(terms, attribute, word);
  else return false;
  return true;
}

/** `not`, which turns all words round, and so stands before them. */
function addNot(terms: FilterTerms, isFirst: boolean, isLast: boolean): void {
  if (!isFirst) throw new Trouble('`not` stands before all other words, and turns them round.');
  if (isLast) throw new Trouble('Say what follows: not thread:…');
  terms.not = true;
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
  const all = [...text.matchAll(/\S+/gu)];
  for (const [index, found] of all.entries()) {
    const parts = split(found[0]);
    const place = { start: found.index, end: found.index + found[0].length, text: found[0] };
    let problem: Partial<FilterWord> = {};
    try {
      if (found[0].toLowerCase() === NOT) addNot(terms, index === 0, all.length === 1);
      else if (!addWord(terms, parts, attributes)) problem = unknown(parts, attributes);
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
  if (begun === '' || /[:<>=!~]/u.test(begun)) return [];
  const first = text.slice(0, caret).trim().toLowerCase() === begun;
  return knownWords(attributes)
    .filter((name) => name.toLowerCase().startsWith(begun) && name.toLowerCase() !== begun)
    .filter((name) => name !== NOT || first)
    .map((name) => (name === NOT || isOneOf(name, TYPES) ? name : `${name}:`));
}
