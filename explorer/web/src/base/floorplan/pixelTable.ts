import { unitsOf } from '../shape';
import type { Axis, Stretch } from './axis';
import type { Layout } from './layout';

// For each pixel along an axis, what lies there: two rows of four numbers, as the shader fetches
// them. So all rounding is done once, here, and the shader only looks up.
//
// Row 0: number of the unit that is drawn or -1, pixels from the unit's start, its size, 0.
// Row 1: number of the cluster or -1, 1 on the cluster's edge, cluster whose square switch lies
// here or -1, pixels from the cluster's start.

const WORDS = 4;

export interface PixelTable {
  readonly pixels: number;
  readonly words: Int32Array;
}

type Place = (stretch: Stretch) => Stretch;

function fill(
  table: PixelTable,
  row: 0 | 1,
  stretch: Stretch,
  put: (words: Int32Array, at: number, offset: number) => void,
): void {
  const end = Math.min(table.pixels, stretch.end);
  for (let pixel = Math.max(0, stretch.start); pixel < end; ++pixel) {
    put(table.words, (row * table.pixels + pixel) * WORDS, pixel - stretch.start);
  }
}

function addUnits(table: PixelTable, count: number, unit: (number: number) => Stretch, place: Place): void {
  for (let number = 0; number < count; ++number) {
    const stretch = place(unit(number));
    const size = stretch.end - stretch.start;
    fill(table, 0, stretch, (words, at, offset) => {
      words[at] = number;
      words[at + 1] = offset;
      words[at + 2] = size;
    });
  }
}

function addClusters(table: PixelTable, axis: Axis, edge: number, place: Place): void {
  for (let number = 0; number < axis.clusters; ++number) {
    const stretch = place(axis.cluster(number));
    const size = stretch.end - stretch.start;
    fill(table, 1, stretch, (words, at, offset) => {
      words[at] = number;
      words[at + 1] = offset < edge || offset >= size - edge ? 1 : 0;
      words[at + 3] = offset;
    });
  }
  for (let number = 0; number < axis.clusters; ++number) {
    const own = axis.switchStretch(number);
    if (own !== undefined) {
      fill(table, 1, place(own), (words, at) => {
        words[at + 2] = number;
      });
    }
  }
}

function tableOf(layout: Layout, i: 0 | 1): PixelTable {
  const { look, grain, shape } = layout;
  const pixels = i === 0 ? look.width : look.height;
  const axis = i === 0 ? layout.columns : layout.rows;
  const table = { pixels, words: new Int32Array(2 * pixels * WORDS).fill(-1) };
  // Rows count from below, pixels from above.
  const place: Place =
    i === 0
      ? ({ start, end }) => ({ start: look.left + start, end: look.left + end })
      : ({ start, end }) => ({ start: look.bottom - end, end: look.bottom - start });
  addClusters(table, axis, Math.max(1, Math.round(look.ratio)), place);
  addUnits(table, unitsOf(shape, grain)[i], (number) => layout.unitAlong(i, number), place);
  return table;
}

export const columnTable = (layout: Layout): PixelTable => tableOf(layout, 0);
export const rowTable = (layout: Layout): PixelTable => tableOf(layout, 1);

/** The number of the unit at a pixel, or undefined. */
export function unitAt(table: PixelTable, pixel: number): number | undefined {
  const unit = pixel < 0 || pixel >= table.pixels ? -1 : (table.words[Math.floor(pixel) * WORDS] ?? -1);
  return unit < 0 ? undefined : unit;
}
