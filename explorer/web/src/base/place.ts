// A place of an array: column and row, row 0 at the bottom.
export interface Place {
  readonly column: number;
  readonly row: number;
}

export type PlacePair = readonly [number, number];

export const pairOf = (place: Place): PlacePair => [place.column, place.row];

export const placeOf = (pair: PlacePair): Place => ({ column: pair[0], row: pair[1] });

export const samePlace = (a: Place, b: Place): boolean => a.column === b.column && a.row === b.row;

/** "3,7", as places are written everywhere. */
export const placeText = (place: Place): string => `${place.column},${place.row}`;
