import type { StackData } from '../../base/stripData';
import { xOf, type TimeWindow } from '../../base/timeScale';
import { fontOf } from './ruler';
import { drawStack } from './stack';
import type { Pen, StripBox, StripColours } from './strip';

const ROOM = 4;

/** The whole run: means only, lighter than the strips below. */
export function drawOverview(
  g: Pen,
  box: StripBox,
  whole: TimeWindow,
  data: StackData,
  highest: number,
  fills: readonly string[],
): void {
  g.globalAlpha = 0.85;
  drawStack(g, box, whole, data, highest, fills, ROOM);
  g.globalAlpha = 1;
}

/** Pixels of both sides of the frame round what the window shows of the whole run. */
export function frameEdges(whole: TimeWindow, view: TimeWindow, width: number): readonly [number, number] {
  const from = xOf(whole, width, view.start) + (view.fraction / whole.span) * width;
  return [from, from + (view.span / whole.span) * width];
}

/** Paper over what the window does not show, an ink frame with handles round what it does. */
export function drawFrame(
  g: Pen,
  box: StripBox,
  rem: number,
  whole: TimeWindow,
  view: TimeWindow,
  colours: StripColours,
): void {
  const unit = rem / 16;
  const [from, to] = frameEdges(whole, view, box.width);
  const [left, right] = [Math.max(1, from), Math.min(box.width - 1, Math.max(to, from + 2))];
  g.fillStyle = colours.paper;
  g.globalAlpha = 0.62;
  g.fillRect(0, box.y, Math.max(0, from), box.height);
  g.fillRect(to, box.y, Math.max(0, box.width - to), box.height);
  g.globalAlpha = 1;
  g.strokeStyle = colours.ink;
  g.lineWidth = 1.5;
  g.strokeRect(left, box.y + 1, Math.max(1, right - left), box.height - 2);
  g.fillStyle = colours.ink;
  g.beginPath();
  for (const x of [left, right]) {
    g.roundRect(x - 3 * unit, box.y + box.height * 0.25, 6 * unit, box.height * 0.5, 2);
  }
  g.fill();
}

/** Bins of cycles in some of which something was found; each ends where the next begins. */
export interface Hits {
  readonly first: BigUint64Array;
  readonly hit: Uint8Array;
  readonly last: bigint;
}

/** Ticks at the upper edge: where there is what was looked for. */
export function drawHits(g: Pen, box: StripBox, rem: number, whole: TimeWindow, hits: Hits, colours: StripColours): void {
  const unit = rem / 16;
  g.fillStyle = colours.accent;
  for (let bin = hits.hit.indexOf(1); bin >= 0; bin = hits.hit.indexOf(1, bin)) {
    const from = xOf(whole, box.width, hits.first[bin] ?? 0n);
    const end = hits.hit.indexOf(0, bin); // bins beside each other are one tick, without seams
    bin = end < 0 ? hits.hit.length : end;
    const to = xOf(whole, box.width, hits.first[bin] ?? hits.last + 1n);
    g.fillRect(from, box.y + 2, Math.max(1.5 * unit, to - from), 5 * unit);
  }
}

/** Strokes over what the index has not reached yet, from pixel `from` on. */
export function drawUnread(g: Pen, box: StripBox, rem: number, from: number, colours: StripColours): void {
  g.save();
  g.beginPath();
  g.rect(from, box.y, box.width - from, box.height);
  g.clip();
  g.strokeStyle = colours.line;
  g.lineWidth = 1;
  g.beginPath();
  for (let x = from - box.height; x < box.width; x += 6) {
    g.moveTo(x, box.y + box.height);
    g.lineTo(x + box.height, box.y);
  }
  g.stroke();
  g.restore();
  g.font = fontOf(rem, 12, 400);
  const text = 'not read yet';
  if (box.width - from > g.measureText(text).width + 24) {
    haloed(g, text, from + 12, box.y + box.height / 2, 'left', colours.ink2, colours.paper);
  }
}

/** A torn edge where a trace ends in the middle of a record, and which record that is. */
export function drawTorn(g: Pen, box: StripBox, rem: number, text: string, colours: StripColours): void {
  g.strokeStyle = colours.danger;
  g.lineWidth = 1.5;
  g.beginPath();
  for (let i = 0; i <= 6; ++i) {
    g.lineTo(box.width - (i % 2 === 1 ? 7 : 1), box.y + (box.height * i) / 6);
  }
  g.stroke();
  g.font = fontOf(rem, 11, 600);
  haloed(g, text, box.width - 12, box.y + (9 * rem) / 16, 'right', colours.danger, colours.paper);
}

/** Brackets at the lower edge: where a phase begins and ends. */
export function drawPhases(
  g: Pen,
  box: StripBox,
  view: TimeWindow,
  phases: readonly { readonly first: bigint; readonly last: bigint }[],
  colours: StripColours,
): void {
  const y = box.y + box.height - 1.5;
  g.fillStyle = colours.control;
  for (const phase of phases) {
    const from = Math.max(-2, xOf(view, box.width, phase.first));
    const to = Math.min(box.width + 2, xOf(view, box.width, phase.last + 1n));
    if (to > 0 && from < box.width) {
      g.fillRect(from, y, Math.max(1, to - from - 1), 1.5);
      g.fillRect(from, y - 3, 1, 3);
    }
  }
}

function haloed(
  g: Pen,
  text: string,
  x: number,
  y: number,
  align: CanvasTextAlign,
  colour: string,
  halo: string,
): void {
  g.textAlign = align;
  g.textBaseline = 'middle';
  g.strokeStyle = halo;
  g.lineWidth = 3;
  g.lineJoin = 'round';
  g.strokeText(text, x, y);
  g.fillStyle = colour;
  g.fillText(text, x, y);
}
