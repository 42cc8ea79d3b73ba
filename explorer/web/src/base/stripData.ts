// What strips draw: numbers over buckets of time, as the engine counted them.

import type { TimeWindow } from './timeScale';

/**
 * Buckets beside each other. `edges` are cycles behind `origin`, one more than there are buckets: an
 * index may know wider cells only than those that were asked for, so their widths differ.
 */
export interface Buckets {
  readonly origin: bigint;
  readonly edges: Float64Array;
}

/** Events a cycle, by colour of a thread, kind or type: stacked means, and the worst cycle. */
export interface StackData {
  readonly buckets: Buckets;
  /** How many colours are used; values of colour c begin at c * (number of buckets). */
  readonly slots: number;
  readonly mean: Float64Array;
  /** The most in one cycle of each bucket; not there where each bucket is one cycle. */
  readonly worst: Float64Array | undefined;
}

/** One number a bucket: the worst cycle's where it is known, else the mean. */
export interface CountData {
  readonly buckets: Buckets;
  readonly values: Float64Array;
}

/** Events of one unit: how many a bucket, and of which colour most of them are (255: none). */
export interface TickData {
  readonly buckets: Buckets;
  readonly count: Float64Array;
  readonly thread: Uint8Array;
}

/** A number over time: what it was at least, on average and at most; NaN where nothing is known. */
export interface BandData {
  readonly buckets: Buckets;
  readonly min: Float64Array;
  readonly mean: Float64Array;
  readonly max: Float64Array;
}

export const binsOf = (buckets: Buckets): number => Math.max(0, buckets.edges.length - 1);

/** From the first cycles of buckets, and the last cycle of the last one. */
export function bucketsOf(firsts: BigUint64Array, last: bigint): Buckets {
  const origin = firsts[0] ?? last;
  const edges = new Float64Array(firsts.length + 1);
  firsts.forEach((first, bin) => (edges[bin] = Number(first - origin)));
  edges[firsts.length] = Number(last - origin) + 1;
  return { origin, edges };
}

export const widthOf = (buckets: Buckets, bin: number): number =>
  (buckets.edges[bin + 1] ?? 0) - (buckets.edges[bin] ?? 0);

/** How many edges are smaller than `offset`, or not larger. */
function edgesBefore(edges: Float64Array, offset: number, orAt: boolean): number {
  let [low, high] = [0, edges.length];
  while (low < high) {
    const middle = (low + high) >> 1;
    const edge = edges[middle] ?? 0;
    if (edge > offset || (edge === offset && !orAt)) {
      high = middle;
    } else {
      low = middle + 1;
    }
  }
  return low;
}

/** Which buckets a window shows: from the first, up to the last, not included. */
export function visibleBins(buckets: Buckets, view: TimeWindow): readonly [number, number] {
  const offset = Number(view.start - buckets.origin) + view.fraction;
  const bins = binsOf(buckets);
  const first = Math.min(bins, Math.max(0, edgesBefore(buckets.edges, offset, true) - 1));
  const end = edgesBefore(buckets.edges, offset + view.span, false);
  return [first, Math.max(first, Math.min(bins, end))];
}

/** Where cycles behind an origin are drawn: `start + offset * scale` pixels. */
export interface Placing {
  readonly start: number;
  readonly scale: number;
}

export function placing(buckets: Buckets, view: TimeWindow, width: number): Placing {
  const scale = width / view.span;
  return { start: (Number(buckets.origin - view.start) - view.fraction) * scale, scale };
}
