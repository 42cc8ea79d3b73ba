import { columnsOf, grainOf, unitSpan, unitsOf, type Level, type Shape } from '../base/shape';
import type { Place, PlacePair } from '../base/place';

/** Columns and rows of a part of the array, both ends included. */
export interface Area {
  readonly first: Place;
  readonly last: Place;
}

export const areaSize = ({ first, last }: Area): number =>
  (last.column - first.column + 1) * (last.row - first.row + 1);

/** The elements of a domain or a cluster. */
export function areaOf(shape: Shape, level: Level, unit: PlacePair): Area {
  const [columns, rows] = unitSpan(shape, level);
  const first = { column: unit[0] * columns, row: unit[1] * rows };
  return { first, last: { column: first.column + columns - 1, row: first.row + rows - 1 } };
}

/** Of numbers of all elements, row by row, those of an area added up. */
export function sumIn(shape: Shape, counts: Float64Array, { first, last }: Area): number {
  const columns = columnsOf(shape);
  let sum = 0;
  for (let row = first.row; row <= last.row; ++row) {
    for (let column = first.column; column <= last.column; ++column) {
      sum += counts[row * columns + column] ?? 0;
    }
  }
  return sum;
}

export interface UnitSum {
  readonly unit: PlacePair;
  readonly sum: number;
}

/** All units of a level with their sums, the largest first. */
export function ranking(shape: Shape, level: Level, counts: Float64Array): readonly UnitSum[] {
  const [columns, rows] = unitsOf(shape, grainOf(shape, level));
  const units = Array.from({ length: columns * rows }, (_, at): UnitSum => {
    const unit: PlacePair = [at % columns, Math.floor(at / columns)];
    return { unit, sum: sumIn(shape, counts, areaOf(shape, level, unit)) };
  });
  return units.sort((a, b) => b.sum - a.sum);
}
