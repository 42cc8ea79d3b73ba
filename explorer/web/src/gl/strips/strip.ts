// What all strips of the timeline share: where they draw, in which colours, and for which cycles.

import { bucketCycles, type BucketSpan } from '../../base/buckets';
import { xOf, type TimeWindow } from '../../base/timeScale';

/** Colours of the theme, as CSS writes them. */
export interface StripColours {
  readonly paper: string;
  readonly surface: string;
  readonly line: string;
  readonly control: string;
  readonly ink: string;
  readonly ink2: string;
  readonly ink3: string;
  readonly accent: string;
  readonly wash: string;
  readonly danger: string;
  readonly threads: readonly string[];
  /** The same over paper, for bars that stand without a gap. */
  readonly softThreads: readonly string[];
  /** The edge of ticks whose colour may be too close to the paper; none where none is. */
  readonly edge: string | undefined;
}

/** A strip's place on a canvas, in CSS pixels; `ratio` device pixels are one of them. */
export interface StripBox {
  readonly y: number;
  readonly width: number;
  readonly height: number;
  readonly ratio: number;
}

export type Pen = CanvasRenderingContext2D;

/** To the nearest edge between device pixels, so that neighbours meet without a seam. */
export const snapped = (at: number, ratio: number): number => Math.round(at * ratio) / ratio;

/** Where buckets begin: `start + index * step` pixels. */
export interface BucketPlaces {
  readonly start: number;
  readonly step: number;
}

export function bucketPlaces(span: BucketSpan, view: TimeWindow, width: number): BucketPlaces {
  const step = (Number(bucketCycles(span)) / view.span) * width;
  return { start: xOf(view, width, span.first), step };
}

/** Calls `draw` with what is inside of the box only. */
export function clipped(g: Pen, box: StripBox, draw: () => void): void {
  g.save();
  g.beginPath();
  g.rect(0, box.y, box.width, box.height);
  g.clip();
  draw();
  g.restore();
}
