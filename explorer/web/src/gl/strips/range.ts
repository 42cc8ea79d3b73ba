import { xOf, type TimeWindow } from '../../base/timeScale';
import type { Pen, StripBox, StripColours } from './strip';

/** Cycles from first to last, both included. */
export interface RangeSpan {
  readonly first: bigint;
  readonly last: bigint;
}

/** Pixels of the left and the right edge of a range. */
export function rangeEdges(view: TimeWindow, width: number, range: RangeSpan): readonly [number, number] {
  return [xOf(view, width, range.first), xOf(view, width, range.last + 1n)];
}

/** The wash under the strips. */
export function drawWash(g: Pen, box: StripBox, view: TimeWindow, range: RangeSpan, colour: string): void {
  const [from, to] = rangeEdges(view, box.width, range);
  g.fillStyle = colour;
  g.fillRect(from, box.y, to - from, box.height);
}

/** Both edges over `box`, with handles at its upper end. */
export function drawRangeEdges(
  g: Pen,
  box: StripBox,
  rem: number,
  view: TimeWindow,
  range: RangeSpan,
  colours: StripColours,
): void {
  const unit = rem / 16;
  const [from, to] = rangeEdges(view, box.width, range);
  g.fillStyle = colours.accent;
  g.fillRect(Math.round(from) - 0.5, box.y, 1.5, box.height);
  g.fillRect(Math.round(to) - 0.5, box.y, 1.5, box.height);
  g.beginPath();
  g.roundRect(from - 4 * unit, box.y + 2, 5 * unit, 10 * unit, 1);
  g.roundRect(to - unit, box.y + 2, 5 * unit, 10 * unit, 1);
  g.fill();
}
