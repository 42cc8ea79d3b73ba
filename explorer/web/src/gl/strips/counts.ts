import { placing, visibleBins, type CountData } from '../../base/stripData';
import type { TimeWindow } from '../../base/timeScale';
import type { Pen, StripBox, StripColours } from './strip';

const HEADROOM = 5;

export function highestCount(data: CountData, view: TimeWindow): number {
  const [first, end] = visibleBins(data.buckets, view);
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
  const [first, end] = visibleBins(data.buckets, view);
  if (first >= end || highest <= 0) {
    return;
  }
  const { start, scale: perCycle } = placing(data.buckets, view, box.width);
  const xOf = (edge: number) => start + (data.buckets.edges[edge] ?? 0) * perCycle;
  const bottom = box.y + box.height;
  const scale = (box.height - HEADROOM) / highest;
  g.beginPath();
  g.moveTo(xOf(first), bottom);
  for (let bin = first; bin < end; ++bin) {
    const y = bottom - (data.values[bin] ?? 0) * scale;
    g.lineTo(xOf(bin), y);
    g.lineTo(xOf(bin + 1), y);
  }
  g.lineTo(xOf(end), bottom);
  g.fillStyle = colours.ink3;
  g.globalAlpha = 0.3;
  g.fill();
  g.globalAlpha = 1;
  g.strokeStyle = colours.ink2;
  g.lineWidth = 1;
  g.stroke();
}
