import type { PlacePair } from '../base/place';
import type { Shape } from '../base/shape';
import type { Ask, Digits, EventType, Heading } from './questions';

/** What is wrong with a trace, as the engine says it. */
export interface FaultOfTrace {
  readonly message: string;
  readonly file?: string;
  readonly place?: string;
  readonly remedy?: string;
  /** What kind of fault it is: "cut-record". */
  readonly kind?: string;
  /** Where the trace ends before its time: the first record that is not whole, and its first byte. */
  readonly record?: number;
  readonly offset?: number;
}

export interface ThreadName {
  readonly name?: string;
  readonly meaning?: string;
}

export interface About {
  readonly name?: string;
  readonly command?: string;
  readonly date?: string;
  readonly tool?: string;
  readonly cycleNs?: number;
  readonly threads?: Readonly<Record<string, ThreadName>>;
  readonly places?: readonly (readonly [number, number, string])[];
}

export interface Attribute {
  readonly name: string;
  readonly type: string;
  readonly names?: Readonly<Record<string, string>>;
}

export interface TraceHead {
  readonly name: string;
  readonly bytes: number;
  readonly records: number;
  readonly fires: number;
  readonly sends: number;
  readonly switches: number;
  readonly firstCycle: Digits;
  readonly lastCycle: Digits;
  readonly steps: number;
  readonly naturalSteps: number;
  readonly threads: readonly number[];
  /** Null where nothing tells it: a trace without records. */
  readonly shape: Shape | null;
  readonly shapes: readonly Shape[];
  readonly shapeFrom: 'about' | 'extent' | 'option';
  readonly wrapColumns: boolean;
  readonly wrapRows: boolean;
  readonly end: FaultOfTrace | null;
  readonly orderly: boolean;
  readonly about: About | null;
  readonly attributes: readonly Attribute[];
  readonly counters: readonly { readonly name: string; readonly places: boolean | number }[];
  readonly companionFault?: FaultOfTrace | null;
  readonly notesComing?: boolean;
  /** From which record on there are no notes, where they end before the trace does. */
  readonly notesEnd?: { readonly record: number; readonly message: string; readonly remedy: string } | null;
  readonly indexed: boolean | { readonly done: number; readonly all: number };
  readonly viewerShows: boolean;
}

export interface EventHead {
  readonly record: number;
  readonly cycle: Digits;
  readonly thread: number;
  readonly type: EventType;
  readonly at: PlacePair;
  readonly to?: PlacePair;
  /** What it means to the piece asked about. */
  readonly what?: 'fires' | 'sends' | 'gets' | 'transmits';
  readonly kind?: string;
  readonly notes?: Readonly<Record<string, string>>;
}

export interface Neighbour {
  readonly direction: 'to' | 'from';
  readonly place: PlacePair;
  readonly messages: number;
}

export interface Totals {
  readonly fires: number;
  readonly sends: number;
  readonly receives: number;
  readonly transmissions: number;
}

export interface Touched {
  readonly record: number;
  readonly cycle: Digits;
  readonly thread: number;
  readonly type: EventType;
  /** Steps (viewer's reading) or cycles (natural reading) since. */
  readonly ago: number | Digits;
  readonly kind?: string;
  readonly notes?: Readonly<Record<string, Digits | string>>;
}

interface StateColumns {
  elements: Uint8Array;
  switches: Uint8Array;
  record: Float64Array;
  age: Uint8Array;
  thread: Uint32Array;
  from: Uint32Array;
  to: Uint32Array;
}

interface StepsColumns {
  step: Float64Array;
  cycle: BigUint64Array;
  last: Float64Array;
  elementEnd: Uint32Array;
  switchEnd: Uint32Array;
  goneEnd: Uint32Array;
  sentEnd: Uint32Array;
  element: Uint32Array;
  elementCode: Uint8Array;
  switch: Uint32Array;
  switchCode: Uint8Array;
  gone: Float64Array;
  sent: Float64Array;
  sentAge: Uint8Array;
  sentThread: Uint32Array;
  sentFrom: Uint32Array;
  sentTo: Uint32Array;
}

export interface WhyColumns {
  record: Float64Array;
  cycle: BigUint64Array;
  type: Uint8Array;
  thread: Uint32Array;
  at: Uint32Array;
  to: Uint32Array;
  evidence: Uint8Array;
  work: Float64Array;
  travel: Float64Array;
  wait: Float64Array;
}

export interface LinkOfHead {
  readonly node: PlacePair;
  readonly heading: Heading;
  readonly load: number;
}

/** Head and columns of the answer to each question. */
export interface Answers {
  trace: { head: TraceHead; columns: object };
  when: {
    head: {
      readonly step: number;
      readonly cycle: Digits;
      readonly record: number;
      readonly naturalStep: number;
    };
    columns: object;
  };
  state: {
    head: {
      readonly step: number;
      readonly cycle: Digits;
      /** The records applied: from first up to last, which is not included. */
      readonly first: number;
      readonly last: number;
      readonly shown: boolean;
      readonly steps: number;
      readonly messages: number;
    };
    columns: StateColumns;
  };
  steps: { head: { readonly moments: number; readonly ended: boolean }; columns: StepsColumns };
  kinds: {
    /** The most frequent kinds of the whole trace: the same at every moment. */
    head: { readonly kinds: readonly string[] };
    /** 0 none, 1 to 6 the kinds, 7 another one. */
    columns: { elements: Uint8Array };
  };
  palette: { head: object; columns: { elements: Uint8Array; switches: Uint8Array; messages: Uint8Array } };
  activity: {
    head: {
      readonly threads?: readonly number[];
      readonly kinds?: readonly string[];
      readonly types?: readonly EventType[];
      readonly last: Digits;
      readonly exact: boolean;
    };
    columns: { first: BigUint64Array; count: Float64Array; worst?: Float64Array; worstCycles?: Float64Array };
  };
  lane: {
    head: { readonly kind?: string; readonly last?: Digits };
    columns: { first: BigUint64Array; count: Float64Array; thread: Uint8Array };
  };
  counter: {
    head: { readonly last?: Digits };
    columns: { first: BigUint64Array; min: Float64Array; mean: Float64Array; max: Float64Array };
  };
  heat: {
    head: { readonly total: number; readonly highest: number; readonly p98: number; readonly end: number };
    columns: { count: Float64Array };
  };
  links: {
    head: {
      readonly mesh: { readonly columns: number; readonly rows: number; readonly of: 'elements' | 'clusters' };
      readonly highest: number;
      readonly end: number;
      /** What a link can take, in `unit`; loads are shares of it. */
      readonly capacity?: number;
      readonly unit: string;
      readonly links?: number;
      readonly fullest: readonly LinkOfHead[];
      readonly histogram: readonly number[];
    };
    columns: {
      right: Float64Array;
      left: Float64Array;
      up: Float64Array;
      down: Float64Array;
      passes: Float64Array;
    };
  };
  events: {
    head: { readonly more: boolean; readonly next: number | null };
    columns: {
      record: Float64Array;
      cycle: BigUint64Array;
      step?: Float64Array;
      thread: Uint32Array;
      type: Uint8Array;
      at: Uint32Array;
      to: Uint32Array;
    };
  };
  count: {
    head: {
      readonly count: number;
      readonly exact: boolean;
      readonly before?: number;
      readonly record?: number | null;
    };
    columns: object;
  };
  hits: { head: { readonly last: Digits }; columns: { first: BigUint64Array; hit: Uint8Array } };
  piece: {
    head: {
      readonly name: string;
      readonly touched: Touched | null;
      readonly whole: Totals & { readonly average: Totals };
      readonly around: readonly EventHead[];
      readonly neighbours: readonly Neighbour[];
    };
    columns: object;
  };
  next: { head: { readonly event: EventHead | null }; columns: object };
  measures: { head: Readonly<Record<string, unknown>>; columns: object };
  phases: {
    head: { readonly phases: readonly { readonly first: Digits; readonly last: Digits }[] };
    columns: object;
  };
  why: {
    head: {
      readonly steps: number;
      readonly certain: boolean;
      readonly time: { readonly work: number; readonly travel: number; readonly wait: number };
    };
    columns: WhyColumns;
  };
  packet: {
    head: { readonly created: Digits; readonly cycles: number; readonly waited: number; readonly certain: boolean };
    columns: WhyColumns;
  };
  search: {
    head: {
      readonly places: readonly { readonly at: PlacePair; readonly name: string }[];
      readonly threads: readonly { readonly thread: number; readonly name: string; readonly records: number }[];
      readonly kinds: readonly { readonly value: Digits; readonly name: string }[];
    };
    columns: object;
  };
}

export interface Answer<Name extends Ask> {
  readonly head: Answers[Name]['head'];
  readonly columns: Answers[Name]['columns'];
}
