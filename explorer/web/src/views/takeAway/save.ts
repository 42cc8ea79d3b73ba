import { takeText, type TakeQuery } from '../../model/takeAway';
import type { Page } from '../context';

/** Has the browser save a file. */
export function saveBlob(bytes: Blob, name: string): void {
  const address = URL.createObjectURL(bytes);
  follow(address, name);
  setTimeout(() => URL.revokeObjectURL(address), 10_000);
}

function follow(address: string, name: string): void {
  const link = document.createElement('a');
  link.href = address;
  link.download = name;
  link.click();
}

/** Has the browser fetch a file by itself: one of any length, that the page need not hold. */
export function saveDirectly({ explorer, site }: Page, query: TakeQuery): void {
  follow(site.takeAddress(explorer.trace.fingerprint.peek(), takeText(query)), '');
}
