import { xOf, type TimeWindow } from '../../base/timeScale';
import { fontOf, type Taken } from './ruler';
import type { Pen, StripBox, StripColours } from './strip';

/** Of a chip that is drawn round `x` and kept within the strip. */
function chipSpan(g: Pen, box: StripBox, rem: number, x: number, text: string): Taken {
  g.font = fontOf(rem, 11, 650);
  const width = g.measureText(text).width + (10 * rem) / 16;
  const from = Math.min(Math.max(0, x - width / 2), Math.max(0, box.width - width));
  return [from, from + width];
}

/** The pixels of the ruler that the playhead's chip takes; none where it is out of the window. */
export function playheadTakes(
  g: Pen,
  box: StripBox,
  rem: number,
  view: TimeWindow,
  cycle: bigint,
  text: string,
): Taken {
  return chipSpan(g, box, rem, middleOf(view, box, cycle), text);
}

/** Where the playhead stands: in the middle of its cycle where a cycle is wide, else at its start. */
export function middleOf(view: TimeWindow, box: StripBox, cycle: bigint): number {
  const width = box.width / view.span;
  return xOf(view, box.width, cycle) + (width >= 2 ? width / 2 : 0);
}

function line(g: Pen, x: number, from: number, to: number, width: number, colour: string): void {
  g.strokeStyle = colour;
  g.lineWidth = width;
  g.beginPath();
  g.moveTo(x, from);
  g.lineTo(x, to);
  g.stroke();
}

/** A line with a halo down to `bottom`, and a chip with `text` in the ruler, which is `box`. */
export function drawPlayhead(
  g: Pen,
  box: StripBox,
  bottom: number,
  rem: number,
  view: TimeWindow,
  cycle: bigint,
  text: string,
  colours: StripColours,
): void {
  const x = middleOf(view, box, cycle);
  if (x < -1 || x > box.width + 1) {
    return;
  }
  const unit = rem / 16;
  line(g, x, box.y, bottom, 4, colours.paper);
  line(g, x, box.y, bottom, 2, colours.ink);
  const [from, to] = chipSpan(g, box, rem, x, text);
  g.fillStyle = colours.ink;
  g.beginPath();
  g.roundRect(from, box.y + 2 * unit, to - from, 16 * unit, 3);
  g.fill();
  g.beginPath();
  g.moveTo(x - 5 * unit, box.y + 18 * unit);
  g.lineTo(x + 5 * unit, box.y + 18 * unit);
  g.lineTo(x, box.y + 24 * unit);
  g.fill();
  g.fillStyle = colours.paper;
  g.textAlign = 'center';
  g.textBaseline = 'middle';
  g.fillText(text, (from + to) / 2, box.y + 10.5 * unit);
}

/** A thin line where the pointer is. */
export function drawHover(g: Pen, x: number, from: number, to: number, colours: StripColours): void {
  g.globalAlpha = 0.5;
  line(g, Math.round(x) + 0.5, from, to, 1, colours.ink3);
  g.globalAlpha = 1;
}
