import { counted } from '../../base/words';
import type { EventList } from '../../model/eventList';
import { csvOf } from '../../model/eventPage';
import type { Explorer } from '../../model/explorer';
import { AskError } from '../../protocol/fault';

const MOST_COPIED = 10_000; // rows: a clipboard is no place for millions

/** Puts the first matches on the clipboard; tells what was done. */
export async function copyRows(_explorer: Explorer, list: EventList): Promise<string> {
  try {
    const rows = await list.firstRows(MOST_COPIED);
    await navigator.clipboard.writeText(csvOf(rows).replaceAll(',', '\t'));
    return `${counted(rows.length, 'event')} copied`;
  } catch (error) {
    return error instanceof AskError ? error.message : 'The browser does not let the page copy.';
  }
}

/** Lets the server stream all matches into a file; tells what was done. */
export function saveRows(explorer: Explorer, list: EventList): Promise<string> {
  const address = new URL('api/take', document.baseURI);
  address.searchParams.set('trace', explorer.trace.fingerprint.peek());
  address.searchParams.set('what', 'events');
  address.searchParams.set('filter', JSON.stringify(list.filter.peek()));
  address.searchParams.set('shape', JSON.stringify(explorer.trace.shape.peek()));
  const link = document.createElement('a');
  link.href = address.href;
  link.download = '';
  link.click();
  return Promise.resolve('The events are being saved');
}
