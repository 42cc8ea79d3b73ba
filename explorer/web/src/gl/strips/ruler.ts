import { xOf, type TimeWindow } from '../../base/timeScale';
import type { Pen, StripBox, StripColours } from './strip';

/** A labelled tick; `at` is the cycle where it stands, whatever its words count. */
export interface RulerTick {
  readonly at: bigint;
  readonly text: string;
}

export interface RulerMark {
  readonly at: bigint;
  readonly name: string;
}

/** What stands on a ruler: from pixel to pixel. Nothing else is written there. */
export type Taken = readonly [number, number];

export const fontOf = (rem: number, size: number, weight: number): string =>
  `${weight} ${(size * rem) / 16}px Inter, system-ui, sans-serif`;

const overlaps = (taken: readonly Taken[], from: number, to: number): boolean =>
  taken.some(([start, end]) => from < end && to > start);

/** Small ticks and labelled ones; labels give way to what is `taken`. */
export function drawRuler(
  g: Pen,
  box: StripBox,
  rem: number,
  view: TimeWindow,
  ticks: { readonly labelled: readonly RulerTick[]; readonly small: readonly bigint[] },
  taken: readonly Taken[],
  colours: StripColours,
): void {
  const bottom = box.y + box.height;
  g.fillStyle = colours.line;
  for (const at of ticks.small) {
    g.fillRect(Math.round(xOf(view, box.width, at)), bottom - 3, 1, 3);
  }
  g.font = fontOf(rem, 11, 400);
  g.textAlign = 'left';
  g.textBaseline = 'middle';
  for (const tick of ticks.labelled) {
    const x = Math.round(xOf(view, box.width, tick.at));
    g.fillStyle = colours.control;
    g.fillRect(x, bottom - 6, 1, 6);
    const end = x + 5 + g.measureText(tick.text).width;
    if (x >= -5 && end < box.width && !overlaps(taken, x, end + 4)) {
      g.fillStyle = colours.ink2;
      g.fillText(tick.text, x + 5, box.y + box.height / 2);
    }
  }
}

/** A flag with its name behind it; returns the pixels that it takes. */
export function drawMark(
  g: Pen,
  box: StripBox,
  rem: number,
  view: TimeWindow,
  mark: RulerMark,
  colours: StripColours,
): Taken {
  const unit = rem / 16;
  const x = Math.round(xOf(view, box.width, mark.at));
  g.fillStyle = colours.ink;
  g.beginPath();
  g.moveTo(x, box.y + 4 * unit);
  g.lineTo(x, box.y + box.height);
  g.lineTo(x + 1.5, box.y + box.height);
  g.lineTo(x + 1.5, box.y + 12 * unit);
  g.lineTo(x + 9 * unit, box.y + 8 * unit);
  g.closePath();
  g.fill();
  g.font = fontOf(rem, 11, 600);
  g.textAlign = 'left';
  g.textBaseline = 'middle';
  g.fillText(mark.name, x + 12 * unit, box.y + box.height / 2);
  return [x - 2, x + 12 * unit + g.measureText(mark.name).width + 4];
}

/** Where a mark's flag lies, for the pointer. */
export const markReach = (rem: number): number => (11 * rem) / 16;
