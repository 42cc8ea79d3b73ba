import { elementTouch, THREADS } from '../base/picture';
import { columnsOf, rowsOf, unitsOf, type Grain, type Shape } from '../base/shape';
import { ELEMENT_FILLS } from '../theme/palettes';
import { SHARE_LEVELS } from './cellLooks';
import type { Codes } from './cells';

/** Of a unit that anything has touched: one element is to be seen. */
const LEAST_FILL = 0.2;

const THREAD_OF = Uint8Array.from({ length: 256 }, (_, code) => elementTouch(code)?.thread ?? 255);
const FILL_OF = Float32Array.from({ length: 256 }, (_, code) => {
  const touch = elementTouch(code);
  return touch === undefined ? 0 : (ELEMENT_FILLS[touch.age] ?? 0);
});

/** Calls with the number of the unit that each element is in, element by element. */
function eachElement(shape: Shape, grain: Grain, call: (element: number, unit: number) => void): void {
  const [width, height] = grain.span;
  const across = unitsOf(shape, grain)[0];
  const columns = columnsOf(shape);
  const rows = rowsOf(shape);
  for (let row = 0, element = 0; row < rows; ++row) {
    const first = Math.floor(row / height) * across;
    for (let column = 0; column < columns; ++column, ++element) {
      call(element, first + Math.floor(column / width));
    }
  }
}

function mostFrequent(counts: Uint32Array, unit: number): number {
  let most = 0;
  for (let thread = 1; thread < THREADS; ++thread) {
    if ((counts[unit * THREADS + thread] ?? 0) > (counts[unit * THREADS + most] ?? 0)) {
      most = thread;
    }
  }
  return most;
}

/** How many elements a unit has: blocks at the last column or row may have fewer. */
function sizeOf(shape: Shape, { span }: Grain, unit: number, columns: number): number {
  const across = Math.min(span[0], columnsOf(shape) - (unit % columns) * span[0]);
  return across * Math.min(span[1], rowsOf(shape) - Math.floor(unit / columns) * span[1]);
}

/** A unit shows its most frequent thread, filled by the share of its elements and their ages. */
function shareCodes(shape: Shape, grain: Grain, elements: Uint8Array): Codes {
  const [columns, rows] = unitsOf(shape, grain);
  const counts = new Uint32Array(columns * rows * THREADS);
  const fills = new Float32Array(columns * rows);
  eachElement(shape, grain, (element, unit) => {
    const code = elements[element] ?? 0;
    if (code !== 0) {
      counts[unit * THREADS + (THREAD_OF[code] ?? 0)]! += 1;
      fills[unit]! += FILL_OF[code] ?? 0;
    }
  });
  const codes = new Uint8Array(columns * rows);
  fills.forEach((fill, unit) => {
    if (fill > 0) {
      const share = Math.max(LEAST_FILL, fill / sizeOf(shape, grain, unit, columns));
      const stop = Math.round(Math.min(1, share) * (SHARE_LEVELS - 1));
      codes[unit] = 1 + mostFrequent(counts, unit) * SHARE_LEVELS + stop;
    }
  });
  return { columns, rows, codes };
}

/** The codes that are drawn at a level, in thread colouring. */
export function threadCodes(shape: Shape, grain: Grain, elements: Uint8Array): Codes {
  return grain.of === 'pe'
    ? { columns: columnsOf(shape), rows: rowsOf(shape), codes: elements }
    : shareCodes(shape, grain, elements);
}

/** Of larger units, the most frequent code of their elements that is not 0. */
export function commonCodes(shape: Shape, grain: Grain, elements: Uint8Array): Codes {
  if (grain.of === 'pe') {
    return threadCodes(shape, grain, elements);
  }
  const [columns, rows] = unitsOf(shape, grain);
  const counts = new Map<number, number>();
  const best = new Uint32Array(columns * rows);
  const codes = new Uint8Array(columns * rows);
  eachElement(shape, grain, (element, unit) => {
    const code = elements[element] ?? 0;
    const key = unit * 256 + code;
    const count = (counts.get(key) ?? 0) + 1;
    counts.set(key, count);
    if (code !== 0 && count > (best[unit] ?? 0)) {
      best[unit] = count;
      codes[unit] = code;
    }
  });
  return { columns, rows, codes };
}

/** Sums of a number of each element, by unit. */
export function unitSums(shape: Shape, grain: Grain, values: Float64Array): Float64Array {
  if (grain.of === 'pe') {
    return values;
  }
  const [columns, rows] = unitsOf(shape, grain);
  const sums = new Float64Array(columns * rows);
  eachElement(shape, grain, (element, unit) => {
    sums[unit]! += values[element] ?? 0;
  });
  return sums;
}

/** Where a scale ends, so that a few large numbers do not make all others look alike. */
const SCALE_SHARE = 0.98;

/**
 * The end of the scale for units of a level, as a number of each of their elements: that of the
 * elements themselves, or the 98th percentile of larger units that have any.
 */
export function scaleEnd(shape: Shape, grain: Grain, values: Float64Array, end: number): number {
  if (grain.of === 'pe') {
    return end;
  }
  const some = unitMeans(shape, grain, values).filter((mean) => mean > 0).sort();
  return some[Math.floor(SCALE_SHARE * (some.length - 1))] ?? 0;
}

/** Numbers of units, as numbers of each of their elements. */
export function unitMeans(shape: Shape, grain: Grain, values: Float64Array): Float64Array {
  const columns = unitsOf(shape, grain)[0];
  return unitSums(shape, grain, values).map((sum, unit) => sum / sizeOf(shape, grain, unit, columns));
}

/** Codes of numbers of units on a scale: 1 + stop of 16, 0 where there is none. */
export function heatCodes(shape: Shape, grain: Grain, values: Float64Array, end: number): Codes {
  const [columns, rows] = unitsOf(shape, grain);
  const scale = scaleEnd(shape, grain, values, end);
  const codes = Uint8Array.from(unitSums(shape, grain, values), (sum, unit) =>
    sum > 0 && scale > 0
      ? 1 + Math.min(15, Math.round((15 * sum) / (scale * sizeOf(shape, grain, unit, columns))))
      : 0,
  );
  return { columns, rows, codes };
}

/** Which clusters have a unit with anything to show. */
export function busyClusters(shape: Shape, grain: Grain, units: Codes): Codes {
  const [columns, rows] = [shape.clusters[0], shape.clusters[1]];
  const codes = new Uint8Array(columns * rows);
  const across = units.columns / columns;
  const up = units.rows / rows;
  if (grain.of === 'pe') {
    return { columns, rows, codes: codes.fill(1) };
  }
  units.codes.forEach((code, number) => {
    if (code !== 0) {
      const column = Math.floor((number % units.columns) / across);
      const row = Math.floor(Math.floor(number / units.columns) / up);
      codes[row * columns + column] = 1;
    }
  });
  return { columns, rows, codes };
}
