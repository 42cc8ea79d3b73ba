import { binsOf, placing, visibleBins, type Placing, type StackData } from '../../base/stripData';
import type { TimeWindow } from '../../base/timeScale';
import { snapped, type Pen, type StripBox, type StripColours } from './strip';

/** Kept free above the highest bar. */
const HEADROOM = 8;

/** The highest mean and worst of the buckets that a window shows; at least 0. */
export function highestOf(data: StackData, view: TimeWindow): number {
  const [first, end] = visibleBins(data.buckets, view);
  let highest = 0;
  for (let bin = first; bin < end; ++bin) {
    let sum = 0;
    for (let slot = 0; slot < data.slots; ++slot) {
      sum += data.mean[slot * binsOf(data.buckets) + bin] ?? 0;
    }
    highest = Math.max(highest, sum, data.worst?.[bin] ?? 0);
  }
  return highest;
}

/** Adds the bars of one colour to the path; `base` holds how high each bucket is filled by now. */
function addBars(g: Pen, box: StripBox, data: StackData, slot: number, frame: BarFrame): void {
  const { places, first, end, base, scale } = frame;
  const values = data.mean.subarray(slot * binsOf(data.buckets));
  const bottom = box.y + box.height;
  for (let bin = first; bin < end; ++bin) {
    const value = values[bin] ?? 0;
    if (value > 0) {
      const from = snapped(places.start + (data.buckets.edges[bin] ?? 0) * places.scale, box.ratio);
      const to = snapped(places.start + (data.buckets.edges[bin + 1] ?? 0) * places.scale, box.ratio);
      const under = base[bin - first] ?? 0;
      const width = Math.max(to - from - (to - from > 3 ? 1 : 0), 1 / box.ratio);
      g.rect(from, bottom - (under + value) * scale, width, value * scale);
      base[bin - first] = under + value;
    }
  }
}

interface BarFrame {
  readonly places: Placing;
  readonly first: number;
  readonly end: number;
  readonly base: Float64Array;
  readonly scale: number;
}

function barFrame(box: StripBox, view: TimeWindow, data: StackData, highest: number, room: number): BarFrame {
  const [first, end] = visibleBins(data.buckets, view);
  return {
    places: placing(data.buckets, view, box.width),
    first,
    end,
    base: new Float64Array(Math.max(0, end - first)),
    scale: highest > 0 ? Math.max(0, box.height - room) / highest : 0,
  };
}

/**
 * Bars of the means, one path a colour; `highest` is what reaches the top but for some room. A stack
 * whose bars touch is as light as its other ones: their gaps are paper.
 */
export function drawStack(
  g: Pen,
  box: StripBox,
  view: TimeWindow,
  data: StackData,
  highest: number,
  fills: readonly string[],
  room = HEADROOM,
): void {
  const frame = barFrame(box, view, data, highest, room);
  const alpha = g.globalAlpha;
  g.globalAlpha = alpha * (frame.end - frame.first > box.width / 2 ? 0.8 : 1);
  for (let slot = 0; slot < data.slots; ++slot) {
    g.fillStyle = fills[slot % fills.length] ?? '';
    g.beginPath();
    addBars(g, box, data, slot, frame);
    g.fill();
  }
  g.globalAlpha = alpha;
}

const middleOf = (edges: Float64Array, bin: number): number => ((edges[bin] ?? 0) + (edges[bin + 1] ?? 0)) / 2;

/** All colours of each bucket together. */
export function sumsOf(data: StackData): Float64Array {
  const bins = binsOf(data.buckets);
  const sums = new Float64Array(bins);
  data.mean.forEach((value, at) => {
    sums[at % bins] = (sums[at % bins] ?? 0) + value;
  });
  return sums;
}

/** A line over the bars: of the worst cycle in each bucket, or of their sums as their edge. */
export function drawLine(
  g: Pen,
  box: StripBox,
  view: TimeWindow,
  data: StackData,
  values: Float64Array,
  highest: number,
  colours: StripColours,
): void {
  const frame = barFrame(box, view, data, highest, HEADROOM);
  const bottom = box.y + box.height;
  g.strokeStyle = colours.ink;
  g.globalAlpha = 0.55;
  g.lineWidth = 1;
  g.beginPath();
  for (let bin = frame.first; bin < frame.end; ++bin) {
    const x = frame.places.start + middleOf(data.buckets.edges, bin) * frame.places.scale;
    const y = bottom - (values[bin] ?? 0) * frame.scale;
    if (bin === frame.first) {
      g.moveTo(x, y);
    } else {
      g.lineTo(x, y);
    }
  }
  g.stroke();
  g.globalAlpha = 1;
}

/** Dotted lines at the highest and at half of it. */
export function drawLevels(g: Pen, box: StripBox, colours: StripColours): void {
  g.strokeStyle = colours.line;
  g.lineWidth = 1;
  g.setLineDash([1, 3]);
  for (const share of [0.5, 1]) {
    const y = Math.round(box.y + box.height - (box.height - HEADROOM) * share) + 0.5;
    g.beginPath();
    g.moveTo(0, y);
    g.lineTo(box.width, y);
    g.stroke();
  }
  g.setLineDash([]);
}
