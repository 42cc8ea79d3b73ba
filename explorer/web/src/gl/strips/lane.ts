import { placing, visibleBins, widthOf, type BandData, type TickData } from '../../base/stripData';
import type { TimeWindow } from '../../base/timeScale';
import { snapped, type Pen, type StripBox, type StripColours } from './strip';

const TICK_SHARE = 0.7;

/** One tick a bucket with events, in the colour of its most frequent thread. */
export function drawTicks(
  g: Pen,
  box: StripBox,
  view: TimeWindow,
  data: TickData,
  colours: StripColours,
): void {
  const { start, scale: perCycle } = placing(data.buckets, view, box.width);
  const [first, end] = visibleBins(data.buckets, view);
  const height = Math.round(box.height * TICK_SHARE);
  const y = box.y + Math.floor((box.height - height) / 2);
  for (let bin = first; bin < end; ++bin) {
    if ((data.count[bin] ?? 0) > 0) {
      const thread = data.thread[bin] ?? 255;
      const x = snapped(start + (data.buckets.edges[bin] ?? 0) * perCycle, box.ratio);
      const width = Math.max(2, widthOf(data.buckets, bin) * perCycle - 1);
      g.fillStyle = thread === 255 ? colours.ink3 : (colours.threads[thread % 6] ?? colours.ink3);
      g.fillRect(x, y, width, height);
      if (colours.edge !== undefined && width > 3) {
        g.strokeStyle = colours.edge;
        g.lineWidth = 1;
        g.strokeRect(x + 0.5, y + 0.5, width - 1, height - 1);
      }
    }
  }
}

/** Lowest and highest of what a window shows; undefined where nothing is known. */
export function bandRange(data: BandData, view: TimeWindow): readonly [number, number] | undefined {
  const [first, end] = visibleBins(data.buckets, view);
  let lowest = Infinity;
  let highest = -Infinity;
  for (let bin = first; bin < end; ++bin) {
    lowest = Math.min(lowest, data.min[bin] || 0);
    highest = Math.max(highest, data.max[bin] ?? NaN) || highest;
  }
  return highest === -Infinity ? undefined : [Math.min(0, lowest), highest];
}

/** A band from the least to the most of each bucket, and the mean as a line in it. */
export function drawBand(
  g: Pen,
  box: StripBox,
  view: TimeWindow,
  data: BandData,
  range: readonly [number, number],
  colours: StripColours,
): void {
  const { start, scale: perCycle } = placing(data.buckets, view, box.width);
  const xOf = (bin: number) => start + (data.buckets.edges[bin] ?? 0) * perCycle;
  const [first, end] = visibleBins(data.buckets, view);
  const scale = (box.height - 4) / (range[1] - range[0] || 1);
  const yOf = (value: number) => box.y + box.height - 2 - (value - range[0]) * scale;
  g.fillStyle = colours.ink3;
  g.globalAlpha = 0.3;
  for (let bin = first; bin < end; ++bin) {
    const [low, high] = [data.min[bin] ?? NaN, data.max[bin] ?? NaN];
    if (!Number.isNaN(low)) {
      g.fillRect(xOf(bin), yOf(high), xOf(bin + 1) - xOf(bin), Math.max(1, yOf(low) - yOf(high)));
    }
  }
  g.globalAlpha = 1;
  g.fillStyle = colours.ink2;
  for (let bin = first; bin < end; ++bin) {
    const mean = data.mean[bin] ?? NaN;
    if (!Number.isNaN(mean)) {
      g.fillRect(xOf(bin), yOf(mean) - 0.5, Math.max(1, xOf(bin + 1) - xOf(bin)), 1);
    }
  }
}
