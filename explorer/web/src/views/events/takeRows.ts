import { counted } from '../../base/words';
import type { EventList } from '../../model/eventList';
import { csvOf, CSV_HEAD } from '../../model/eventPage';
import { AskError } from '../../protocol/fault';

const MOST_COPIED = 10_000; // rows: a clipboard is no place for millions

/** The first matches as lines, and how many they are. */
async function linesOf(list: EventList, most: number): Promise<{ readonly lines: string[]; readonly rows: number }> {
  const lines = [CSV_HEAD];
  let rows = 0;
  for await (const part of list.parts(most)) {
    lines.push(csvOf(part));
    rows += part.length;
  }
  return { lines, rows };
}

const wordsOf = (error: unknown, otherwise: string): string =>
  error instanceof AskError ? error.message : otherwise;

/** Puts the first matches on the clipboard, as a table; tells what was done. */
export async function copyRows(list: EventList): Promise<string> {
  try {
    const { lines, rows } = await linesOf(list, MOST_COPIED);
    await navigator.clipboard.writeText(lines.join('').replaceAll(',', '\t'));
    return `${counted(rows, 'event')} copied`;
  } catch (error) {
    return wordsOf(error, 'The browser does not let the page copy.');
  }
}
