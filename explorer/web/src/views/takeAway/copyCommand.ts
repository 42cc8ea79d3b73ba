import type { Told } from '../../commands/pageCommands';
import { eventsTake, selectionTake, statsTake, takeText, viewTake, type TakeQuery } from '../../model/takeAway';
import { listOf } from '../events/listOf';
import type { Page } from '../context';

/** What the server is asked for the command line of something; undefined where there is none. */
export function toldTake(page: Page, of: Told): TakeQuery | undefined {
  const { explorer } = page;
  switch (of) {
    case 'view':
      return viewTake(explorer);
    case 'range':
      return statsTake(explorer, 'text');
    case 'selection':
      return selectionTake(explorer);
    case 'events':
      return eventsTake(explorer, listOf(page).filter.peek(), 'text');
  }
}

/** Puts a text on the clipboard, and says so. */
export async function copyText(page: Page, text: string): Promise<void> {
  const { panels } = page.explorer;
  try {
    await navigator.clipboard.writeText(text);
    panels.tell(`Copied: ${text}`);
  } catch {
    panels.tell(`The browser does not let the page copy: ${text}`);
  }
}

/** Puts the command line on the clipboard that gives the same answer in a terminal. */
export async function copyCommand(page: Page, of: Told | TakeQuery): Promise<void> {
  const query = typeof of === 'string' ? toldTake(page, of) : of;
  if (query === undefined) {
    return;
  }
  try {
    await copyText(page, await page.site.command(page.explorer.trace.fingerprint.peek(), takeText(query)));
  } catch (error) {
    page.explorer.panels.tell(error instanceof Error ? error.message : '');
  }
}
