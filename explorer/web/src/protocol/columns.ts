import type { Column } from './answer';
import type { Ask } from './questions';

type ColumnType = { new (length: number): Column };

const EVENT_COLUMNS: Record<string, ColumnType> = {
  record: Float64Array,
  cycle: BigUint64Array,
  type: Uint8Array,
  thread: Uint32Array,
  at: Uint32Array,
  to: Uint32Array,
};

const WHY_COLUMNS: Record<string, ColumnType> = {
  ...EVENT_COLUMNS,
  evidence: Uint8Array,
  work: Float64Array,
  travel: Float64Array,
  wait: Float64Array,
};

/** The columns that an answer must have, so that nobody meets one that is missing while drawing. */
export const NEEDED_COLUMNS: Readonly<Partial<Record<Ask, Readonly<Record<string, ColumnType>>>>> = {
  state: {
    elements: Uint8Array,
    switches: Uint8Array,
    record: Float64Array,
    age: Uint8Array,
    thread: Uint32Array,
    from: Uint32Array,
    to: Uint32Array,
  },
  steps: {
    step: Float64Array,
    cycle: BigUint64Array,
    last: Float64Array,
    elementEnd: Uint32Array,
    switchEnd: Uint32Array,
    goneEnd: Uint32Array,
    sentEnd: Uint32Array,
    element: Uint32Array,
    elementCode: Uint8Array,
    switch: Uint32Array,
    switchCode: Uint8Array,
    gone: Float64Array,
    sent: Float64Array,
    sentAge: Uint8Array,
    sentThread: Uint32Array,
    sentFrom: Uint32Array,
    sentTo: Uint32Array,
  },
  kinds: { elements: Uint8Array },
  palette: { elements: Uint8Array, switches: Uint8Array, messages: Uint8Array },
  activity: { first: BigUint64Array, count: Float64Array },
  lane: { first: BigUint64Array, count: Float64Array, thread: Uint8Array },
  counter: { first: BigUint64Array, min: Float64Array, mean: Float64Array, max: Float64Array },
  heat: { count: Float64Array },
  links: {
    right: Float64Array,
    left: Float64Array,
    up: Float64Array,
    down: Float64Array,
    passes: Float64Array,
  },
  hits: { first: BigUint64Array, hit: Uint8Array },
  events: EVENT_COLUMNS,
  why: WHY_COLUMNS,
  packet: WHY_COLUMNS,
};
