import { effect } from '@preact/signals';

import type { Explorer } from '../model/explorer';
import { applyHash, viewHash } from '../model/viewLink';

const PAUSE = 250; // milliseconds without a change before the address is written

/** Keeps the address of the page that of the view; returns what ends that. */
export function followAddress(explorer: Explorer): () => void {
  let written = location.hash;
  let timer: ReturnType<typeof setTimeout> | undefined;
  applyHash(explorer, location.hash);
  const write = () => {
    if (location.hash === written) {
      history.replaceState(null, '', viewHash(explorer));
      written = location.hash;
    } // else the user is about to go elsewhere
  };
  const end = effect(() => {
    viewHash(explorer);
    clearTimeout(timer);
    if (explorer.playback.picture.value !== undefined) {
      timer = setTimeout(write, PAUSE);
    }
  });
  const change = () => {
    if (location.hash !== written) {
      written = location.hash;
      applyHash(explorer, location.hash);
      const own = explorer.trace.status.peek();
      if (own === undefined || ['', own.name, own.fingerprint].includes(explorer.watch.wished)) {
        explorer.pilot.turnTo(explorer.view.reading.peek());
      } else {
        void explorer.watch.open();
      }
    }
  };
  window.addEventListener('hashchange', change);
  return () => {
    end();
    clearTimeout(timer);
    window.removeEventListener('hashchange', change);
  };
}

/** Puts the address of the view on the clipboard, without what lets in only this browser. */
export async function copyLink(explorer: Explorer): Promise<void> {
  const address = `${location.origin}${location.pathname}${viewHash(explorer)}`;
  try {
    await navigator.clipboard.writeText(address);
    explorer.panels.tell('The link to this view is on the clipboard.');
  } catch {
    history.replaceState(null, '', viewHash(explorer));
    explorer.panels.tell('The link to this view is in the address bar.');
  }
}
