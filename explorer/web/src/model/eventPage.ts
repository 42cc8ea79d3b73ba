import type { Answer, Attribute } from '../protocol/answers';
import { EVENT_TYPES, type EventType } from '../protocol/questions';
import { notesIn, notesLine } from './noteWords';

export interface EventRow {
  readonly record: number;
  readonly cycle: bigint;
  readonly type: EventType;
  readonly thread: number;
  readonly at: readonly [number, number];
  /** Of sends: the receiver. */
  readonly to: readonly [number, number] | undefined;
  /** What is noted of it, in words. */
  readonly notes: string;
}

/** Rows of the list that were fetched together. */
export interface EventPage {
  readonly rows: readonly EventRow[];
  /** The record from which the next page begins. */
  readonly next: number | undefined;
}

/** `attributes` are those whose values the answer has. */
export function pageOf({ head, columns }: Answer<'events'>, attributes: readonly Attribute[] = []): EventPage {
  const rows = Array.from(columns.record, (record, i): EventRow => {
    const type = EVENT_TYPES[columns.type[i] ?? 0] ?? 'fire';
    const pair = (list: Uint32Array) => [list[2 * i] ?? 0, list[2 * i + 1] ?? 0] as const;
    return {
      record,
      cycle: columns.cycle[i] ?? 0n,
      type,
      thread: columns.thread[i] ?? 0,
      at: pair(columns.at),
      to: type === 'send' ? pair(columns.to) : undefined,
      notes: notesLine(Object.fromEntries(notesIn(columns, i, attributes))),
    };
  });
  return { rows, next: head.more ? (head.next ?? undefined) : undefined };
}

/** What was fetched at once, in so many pages of so many rows; those behind the end are empty. */
export const pagesOf = ({ rows, next }: EventPage, size: number, pages: number): readonly EventPage[] =>
  Array.from({ length: pages }, (_, i) => {
    const end = (i + 1) * size;
    return { rows: rows.slice(i * size, end), next: rows[end]?.record ?? next };
  });

export const CSV_HEAD = 'record,cycle,what,thread,column,row,to column,to row\n';

/** Lines of text with commas; CSV_HEAD stands before the first. */
export const csvOf = (rows: readonly EventRow[]): string =>
  rows
    .map(({ record, cycle, type, thread, at, to }) =>
      `${[record, cycle, type, thread, ...at, ...(to ?? ['', ''])].join(',')}\n`,
    )
    .join('');
