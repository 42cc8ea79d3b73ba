// The part of time that a strip shows, and where a cycle lies on it.
//
// Cycles are 64 bit wide, so a window holds where it begins as a whole cycle and a fraction of one,
// and only distances within reach of the window are ever plain numbers: a window of ten cycles is as
// exact behind cycle 2^63 as at the start.

/** Cycles from `start + fraction` on, `span` of them (may be a part of one); a point of time. */
export interface TimeWindow {
  readonly start: bigint;
  /** At least 0, less than 1. */
  readonly fraction: number;
  /** More than 0. */
  readonly span: number;
}

/** The first and the last cycle that there are, both included. */
export interface TimeBounds {
  readonly first: bigint;
  readonly last: bigint;
}

/** No window shows less than this: a bar of one cycle and a part of its neighbours. */
export const LEAST_SPAN = 4;

function windowAt(start: bigint, offset: number, span: number): TimeWindow {
  const whole = Math.floor(offset);
  return { start: start + BigInt(whole), fraction: offset - whole, span };
}

/** The window that shows all of `bounds`, the last cycle to its end. */
export function windowOf(bounds: TimeBounds): TimeWindow {
  return { start: bounds.first, fraction: 0, span: Number(bounds.last - bounds.first) + 1 };
}

/** Where the start of `cycle` lies, in a strip `width` wide; may lie outside of it. */
export function xOf(view: TimeWindow, width: number, cycle: bigint): number {
  return ((Number(cycle - view.start) - view.fraction) / view.span) * width;
}

/** The cycle that is drawn at `x`. */
export function cycleAt(view: TimeWindow, width: number, x: number): bigint {
  return view.start + BigInt(Math.floor(view.fraction + (x / width) * view.span));
}

/** The edge between two cycles that lies nearest to `x`: the first cycle behind it. */
export function edgeAt(view: TimeWindow, width: number, x: number): bigint {
  return view.start + BigInt(Math.round(view.fraction + (x / width) * view.span));
}

/** Moved by `cycles` to later times. */
export function panned(view: TimeWindow, cycles: number): TimeWindow {
  return windowAt(view.start, view.fraction + cycles, view.span);
}

/** `factor` times as many cycles, with what lies at `share` (0 to 1) of the strip left in place. */
export function zoomed(view: TimeWindow, factor: number, share: number): TimeWindow {
  const span = view.span * factor;
  return windowAt(view.start, view.fraction + share * (view.span - span), span);
}

function fullSpan(bounds: TimeBounds): number {
  return Number(bounds.last - bounds.first) + 1;
}

/** The nearest window within `bounds`, neither wider than they are nor narrower than LEAST_SPAN. */
export function within(view: TimeWindow, bounds: TimeBounds, share = 0.5): TimeWindow {
  const all = fullSpan(bounds);
  const span = Math.min(Math.max(view.span, Math.min(LEAST_SPAN, all)), all);
  const sized = span === view.span ? view : zoomed(view, span / view.span, share);
  const before = Number(bounds.first - sized.start) - sized.fraction;
  if (before > 0 || span === all) {
    return { start: bounds.first, fraction: 0, span };
  }
  const behind = span - before - all;
  return behind > 0 ? windowAt(bounds.first, all - span, span) : { ...sized, span };
}

/** The window in which `first` to `last` (both included) fill `share` of the strip, in its middle. */
export function filling(first: bigint, last: bigint, share: number): TimeWindow {
  const cycles = Number(last - first) + 1;
  const span = Math.max(LEAST_SPAN, cycles / share);
  return windowAt(first, -(span - cycles) / 2, span);
}

/** The nearest window of the same span that shows `cycle`, `margin` (a share of it) from its edge. */
export function showing(view: TimeWindow, cycle: bigint, margin: number): TimeWindow {
  const at = Number(cycle - view.start) - view.fraction;
  const edge = view.span * margin;
  if (at < edge) return panned(view, at - edge);
  if (at + 1 > view.span - edge) return panned(view, at + 1 - view.span + edge);
  return view;
}

export function sameWindow(a: TimeWindow, b: TimeWindow): boolean {
  return a.start === b.start && a.fraction === b.fraction && a.span === b.span;
}

/** Between two windows, at `t` from 0 to 1: what a flight shows on its way. */
export function between(a: TimeWindow, b: TimeWindow, t: number): TimeWindow {
  if (t >= 1) return b;
  const span = a.span * (b.span / a.span) ** t;
  // What stays in place while the span goes from one to the other; with equal spans nothing does.
  const shift = Number(b.start - a.start) + b.fraction - a.fraction;
  const moved = a.span === b.span ? t : (a.span - span) / (a.span - b.span);
  return windowAt(a.start, a.fraction + shift * moved, span);
}
