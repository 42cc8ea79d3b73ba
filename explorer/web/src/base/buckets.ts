// Which buckets of time are fetched for a window: a power of two of cycles each, so that a bucket
// begins at the same cycles wherever the window stands and never flickers while it moves, and a
// screen more to either side, so that a pan has its picture before its data.

import type { TimeBounds, TimeWindow } from './timeScale';

/** `bins` buckets of `2 ** level` cycles each, from cycle `first` on. */
export interface BucketSpan {
  readonly first: bigint;
  readonly level: number;
  readonly bins: number;
}

/** More buckets than this are not fetched at once: the engine refuses them. */
export const MOST_BINS = 8192;

export function bucketCycles(span: BucketSpan): bigint {
  return 1n << BigInt(span.level);
}

/** The first cycle behind the last bucket. */
export function bucketEnd(span: BucketSpan): bigint {
  return span.first + BigInt(span.bins) * bucketCycles(span);
}

/** The level at which a bucket is at least one of `pixels`, and less than two. */
export function levelOf(view: TimeWindow, pixels: number): number {
  const cycles = view.span / Math.max(1, pixels);
  return cycles <= 1 ? 0 : Math.ceil(Math.log2(cycles));
}

function alignedDown(cycle: bigint, level: number): bigint {
  return (cycle >> BigInt(level)) << BigInt(level);
}

function largest(a: bigint, b: bigint): bigint {
  return a > b ? a : b;
}

function smallest(a: bigint, b: bigint): bigint {
  return a < b ? a : b;
}

function spanFrom(first: bigint, last: bigint, level: number): BucketSpan {
  const start = alignedDown(first, level);
  const bins = Number((last - start) >> BigInt(level)) + 1;
  return { first: start, level, bins };
}

/** The cycles that a window shows, within `bounds`; the window must touch them. */
function shown(view: TimeWindow, bounds: TimeBounds): TimeBounds {
  const end = view.start + BigInt(Math.ceil(view.fraction + view.span)) - 1n;
  const first = smallest(largest(view.start, bounds.first), bounds.last);
  return { first, last: largest(first, smallest(end, bounds.last)) };
}

/**
 * What to fetch for a window drawn `pixels` wide: three screens where the engine allows it, less to
 * the sides where it does not, and nothing outside of `bounds` but to the end of a bucket.
 */
export function bucketsFor(view: TimeWindow, pixels: number, bounds: TimeBounds): BucketSpan {
  const level = levelOf(view, pixels);
  const seen = shown(view, bounds);
  const needed = spanFrom(seen.first, seen.last, level).bins;
  const spare = Math.max(0, Math.floor((MOST_BINS - needed) / 2) - 1);
  const side = BigInt(Math.min(needed, spare)) << BigInt(level);
  const first = largest(bounds.first, seen.first - side);
  return spanFrom(first, smallest(bounds.last, seen.last + side), level);
}

/** Whether `have` has every bucket of `window` in the width that `pixels` ask for. */
export function covers(have: BucketSpan, view: TimeWindow, pixels: number, bounds: TimeBounds): boolean {
  if (have.level !== levelOf(view, pixels)) return false;
  const seen = shown(view, bounds);
  return have.first <= seen.first && bucketEnd(have) > seen.last;
}

/** Whether a screen of `have` is left on the side to which a pan may go; else it is time to ask. */
export function nearEdge(have: BucketSpan, view: TimeWindow, bounds: TimeBounds): boolean {
  const seen = shown(view, bounds);
  const third = BigInt(Math.floor(view.span / 3));
  const before = largest(bounds.first, seen.first - third);
  const behind = smallest(bounds.last, seen.last + third);
  return have.first > before || bucketEnd(have) <= behind;
}
