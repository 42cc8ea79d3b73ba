import { counted } from '../../base/words';
import type { EventList } from '../../model/eventList';
import { csvOf, CSV_HEAD } from '../../model/eventPage';
import { AskError } from '../../protocol/fault';

const MOST_COPIED = 10_000; // rows: a clipboard is no place for millions
const MOST_SAVED = 1_000_000; // rows: the page holds the file until it is saved

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

/** Saves the matches as a file of comma separated values; tells what was done. */
export async function saveRows(list: EventList, name: string): Promise<string> {
  if ((list.counted.peek()?.count ?? 0) > MOST_SAVED) {
    return `That is too much at once: ${counted(MOST_SAVED, 'event')} at most. Add words to the filter.`;
  }
  try {
    const { lines, rows } = await linesOf(list, MOST_SAVED);
    const address = URL.createObjectURL(new Blob(lines, { type: 'text/csv' }));
    const link = document.createElement('a');
    link.href = address;
    link.download = `${name}.events.csv`;
    link.click();
    setTimeout(() => URL.revokeObjectURL(address), 10_000);
    return `${counted(rows, 'event')} saved`;
  } catch (error) {
    return wordsOf(error, 'The events cannot be saved.');
  }
}
