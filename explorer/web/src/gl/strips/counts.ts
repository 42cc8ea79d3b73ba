import { visibleBins, type BucketSpan } from '../../base/buckets';
import type { TimeWindow } from '../../base/timeScale';
import { bucketPlaces, type Pen, type StripBox, type StripColours } from './strip';

/** One number a bucket: the worst cycle's where it is known, else the mean. */
export interface CountData {
  readonly span: BucketSpan;
  readonly values: Float64Array;
}

const HEADROOM = 5;

export function highestCount(data: CountData, view: TimeWindow): number {
  const [first, end] = visibleBins(data.span, view);
  let highest = 0;
  for (let bin = first; bin < end; ++bin) {
    highest = Math.max(highest, data.values[bin] ?? 0);
  }
  return highest;
}

/** Grey steps. */
export function drawCount(
  g: Pen,
  box: StripBox,
  view: TimeWindow,
  data: CountData,
  highest: number,
  colours: StripColours,
): void {
  const [first, end] = visibleBins(data.span, view);
  if (first >= end || highest <= 0) {
    return;
  }
  const { start, step } = bucketPlaces(data.span, view, box.width);
  const bottom = box.y + box.height;
  const scale = (box.height - HEADROOM) / highest;
  g.beginPath();
  g.moveTo(start + first * step, bottom);
  for (let bin = first; bin < end; ++bin) {
    const y = bottom - (data.values[bin] ?? 0) * scale;
    g.lineTo(start + bin * step, y);
    g.lineTo(start + (bin + 1) * step, y);
  }
  g.lineTo(start + end * step, bottom);
  g.fillStyle = colours.ink3;
  g.globalAlpha = 0.3;
  g.fill();
  g.globalAlpha = 1;
  g.strokeStyle = colours.ink2;
  g.lineWidth = 1;
  g.stroke();
}
