// A place of an array: column and row, row 0 at the bottom.
export interface Place {
  readonly column: number;
  readonly row: number;
}

export type PlacePair = readonly [number, number];

export const placeOf = (pair: PlacePair): Place => ({ column: pair[0], row: pair[1] });

/** "3,7", as places are written everywhere. */
export const placeText = (place: Place): string => `${place.column},${place.row}`;
