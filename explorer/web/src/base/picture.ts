/** A message that is under way or was lately. */
export interface MessageList {
  readonly record: Float64Array;
  readonly age: Uint8Array;
  readonly thread: Uint32Array;
  /** Pairs of column and row. */
  readonly from: Uint32Array;
  readonly to: Uint32Array;
}

/** Everything that a floorplan shows of one moment. Never changed once made. */
export interface Picture {
  readonly reading: 'natural' | 'viewer';
  readonly step: number;
  readonly cycle: bigint;
  /** The number of the first record that has not happened yet. */
  readonly last: number;
  /** A byte for each element, row by row: 0 untouched, else 1 + thread % 6 * 5 + age. */
  readonly elements: Uint8Array;
  /** A byte for each cluster: 0 untouched, else 1 + thread % 6 * 9 + age. */
  readonly switches: Uint8Array;
  readonly messages: MessageList;
}

export const ELEMENT_AGES = 5;
export const SWITCH_AGES = 9;
export const THREADS = 6;

export interface Touch {
  /** Modulo 6. */
  readonly thread: number;
  readonly age: number;
}

const touchOf = (code: number, ages: number): Touch | undefined =>
  code === 0 ? undefined : { thread: Math.floor((code - 1) / ages), age: (code - 1) % ages };

export const elementTouch = (code: number): Touch | undefined => touchOf(code, ELEMENT_AGES);
export const switchTouch = (code: number): Touch | undefined => touchOf(code, SWITCH_AGES);
