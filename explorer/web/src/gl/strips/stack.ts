import { visibleBins, type BucketSpan } from '../../base/buckets';
import type { TimeWindow } from '../../base/timeScale';
import { bucketPlaces, snapped, type Pen, type StripBox, type StripColours } from './strip';

/** Events a cycle, by colour of a thread, kind or type: stacked means, and the worst cycle. */
export interface StackData {
  readonly span: BucketSpan;
  /** How many colours are used; values of colour c begin at c * bins. */
  readonly slots: number;
  readonly mean: Float64Array;
  /** The most in one cycle of each bucket; not there where each bucket is one cycle. */
  readonly worst: Float64Array | undefined;
}

/** Kept free above the highest bar. */
const HEADROOM = 8;

/** The highest mean and worst of the buckets that a window shows; at least 0. */
export function highestOf(data: StackData, view: TimeWindow): number {
  const [first, end] = visibleBins(data.span, view);
  let highest = 0;
  for (let bin = first; bin < end; ++bin) {
    let sum = 0;
    for (let slot = 0; slot < data.slots; ++slot) {
      sum += data.mean[slot * data.span.bins + bin] ?? 0;
    }
    highest = Math.max(highest, sum, data.worst?.[bin] ?? 0);
  }
  return highest;
}

/** Adds the bars of one colour to the path; `base` holds how high each bucket is filled by now. */
function addBars(g: Pen, box: StripBox, data: StackData, slot: number, draw: BarFrame): void {
  const { places, first, end, base, scale } = draw;
  const gap = places.step > 3 ? 1 : 0;
  const bottom = box.y + box.height;
  for (let bin = first; bin < end; ++bin) {
    const value = data.mean[slot * data.span.bins + bin] ?? 0;
    if (value > 0) {
      const from = snapped(places.start + bin * places.step, box.ratio);
      const to = snapped(places.start + (bin + 1) * places.step, box.ratio);
      const under = base[bin - first] ?? 0;
      g.rect(from, bottom - (under + value) * scale, Math.max(to - from - gap, 1 / box.ratio), value * scale);
      base[bin - first] = under + value;
    }
  }
}

interface BarFrame {
  readonly places: { readonly start: number; readonly step: number };
  readonly first: number;
  readonly end: number;
  readonly base: Float64Array;
  readonly scale: number;
}

function barFrame(box: StripBox, view: TimeWindow, data: StackData, highest: number, room: number): BarFrame {
  const [first, end] = visibleBins(data.span, view);
  return {
    places: bucketPlaces(data.span, view, box.width),
    first,
    end,
    base: new Float64Array(Math.max(0, end - first)),
    scale: highest > 0 ? Math.max(0, box.height - room) / highest : 0,
  };
}

/** Bars of the means, one path a colour; `highest` is what reaches the top but for some room. */
export function drawStack(
  g: Pen,
  box: StripBox,
  view: TimeWindow,
  data: StackData,
  highest: number,
  colours: StripColours,
  room = HEADROOM,
): void {
  const frame = barFrame(box, view, data, highest, room);
  const fills = frame.places.step < 2 ? colours.softThreads : colours.threads;
  for (let slot = 0; slot < data.slots; ++slot) {
    g.fillStyle = fills[slot % fills.length] ?? colours.ink3;
    g.beginPath();
    addBars(g, box, data, slot, frame);
    g.fill();
  }
}

/** The line of the worst cycle in each bucket. */
export function drawWorst(
  g: Pen,
  box: StripBox,
  view: TimeWindow,
  data: StackData,
  highest: number,
  colours: StripColours,
): void {
  if (data.worst === undefined) {
    return;
  }
  const frame = barFrame(box, view, data, highest, HEADROOM);
  const bottom = box.y + box.height;
  g.strokeStyle = colours.ink;
  g.globalAlpha = 0.55;
  g.lineWidth = 1;
  g.beginPath();
  for (let bin = frame.first; bin < frame.end; ++bin) {
    const x = frame.places.start + (bin + 0.5) * frame.places.step;
    const y = bottom - (data.worst[bin] ?? 0) * frame.scale;
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
