import { thousands } from '../base/words';
import { sentence } from './alertWords';
import type { Attribute, TraceHead } from '../protocol/answers';

/** A note as people read it: numbers with commas, names as they are. */
export const noteText = (value: string): string => (/^\d+$/.test(value) ? thousands(BigInt(value)) : value);

/** All that is noted of an event, the kind first: "read, packet 16,538". */
export function notesLine({ kind, ...others }: Readonly<Record<string, string>>): string {
  const words = Object.entries(others).map(([name, value]) => `${name} ${noteText(value)}`);
  return [...(kind === undefined ? [] : [kind]), ...words].join(', ');
}

type Lists = Readonly<Record<string, ArrayLike<number | bigint> | undefined>>;

/** The notes of the i-th event of an answer: a column for each attribute, and one that tells whether it has it. */
export function notesIn(columns: object, i: number, attributes: readonly Attribute[]): readonly (readonly [string, string])[] {
  const lists = columns as Lists;
  return attributes.flatMap(({ name, names }) => {
    const value = lists[`has.${name}`]?.[i] === 1 ? lists[`note.${name}`]?.[i] : undefined;
    return value === undefined ? [] : [[name, names?.[String(value)] ?? String(value)] as const];
  });
}

/** Why kinds, notes or counters are not shown, or end before the trace does. */
export function companionWords(head: TraceHead): readonly string[] {
  const { companionFault, notesEnd, about, attributes, name } = head;
  const words: string[] = [];
  if (companionFault) {
    words.push(sentence(companionFault.message) + (companionFault.remedy ? ` ${sentence(companionFault.remedy)}` : ''));
  } else if (about === null && attributes.length === 0) {
    words.push(`Kinds and counters are not shown: there is no ${name}.about beside the trace.`);
  }
  if (notesEnd) {
    words.push(
      `${sentence(`${notesEnd.message}: records from ${thousands(notesEnd.record)} on have none`)} ${sentence(notesEnd.remedy)}`.trim(),
    );
  }
  return words;
}
