import { effect } from '@preact/signals';

import type { Explorer } from '../model/explorer';
import type { Width } from '../model/panelStore';

// What the page takes from the window and the system, and what it tells the root element.

const WIDE = 90; // rem
const MIDDLE = 60;
const PHONE = 44;
const THEME_KEY = 'marrowfin-theme';

export const widthOf = (rem: number): Width => (rem > WIDE ? 'wide' : rem > MIDDLE ? 'middle' : 'narrow');

/** Widths are measured in rem: what counts is how much text has room. */
function followWidth(explorer: Explorer): () => void {
  const root = document.documentElement;
  const measure = () => {
    const rem = window.innerWidth / parseFloat(getComputedStyle(root).fontSize);
    explorer.panels.width.value = widthOf(rem);
    root.dataset['width'] = widthOf(rem);
    root.toggleAttribute('data-phone', rem <= PHONE);
  };
  // A rem is watched through an element that is as large as one: text may grow with no resize.
  const rem = document.createElement('div');
  rem.className = 'rem';
  document.body.append(rem);
  const watch = new ResizeObserver(measure);
  watch.observe(root);
  watch.observe(rem);
  measure();
  return () => {
    watch.disconnect();
    rem.remove();
  };
}

function followMedia(query: string, tell: (matches: boolean) => void): () => void {
  const media = window.matchMedia(query);
  const change = () => tell(media.matches);
  media.addEventListener('change', change);
  change();
  return () => media.removeEventListener('change', change);
}

function followTheme(explorer: Explorer): () => void {
  const { settings } = explorer;
  const stored = localStorage.getItem(THEME_KEY);
  settings.choice.value = stored === 'light' || stored === 'dark' ? stored : 'system';
  const ends = [
    followMedia('(prefers-color-scheme: dark)', (dark) => (settings.systemTheme.value = dark ? 'dark' : 'light')),
    effect(() => {
      document.documentElement.dataset['theme'] = settings.theme.value;
    }),
    effect(() => {
      const choice = settings.choice.value;
      choice === 'system' ? localStorage.removeItem(THEME_KEY) : localStorage.setItem(THEME_KEY, choice);
    }),
  ];
  return () => ends.forEach((end) => end());
}

/** Who wants less motion begins with two steps a second. */
function followMotion(explorer: Explorer): () => void {
  const { settings, playback } = explorer;
  const usual = playback.speed.peek();
  return followMedia('(prefers-reduced-motion: reduce)', (reduce) => {
    settings.reducedMotion.value = reduce;
    if (reduce && playback.speed.peek() === usual) {
      playback.speed.value = 2;
    }
  });
}

export function followSurroundings(explorer: Explorer): () => void {
  const ends = [followWidth(explorer), followTheme(explorer), followMotion(explorer)];
  return () => ends.forEach((end) => end());
}
