import type { PlacePair } from '../base/place';
import type { Shape } from '../base/shape';

// What can be asked about a trace, and what answers it. Numbers that may be larger than 2^53
// (cycles) travel as decimal digits in JSON and are bigint in columns.

export type Digits = string;
export type Reading = 'natural' | 'viewer';
export type EventType = 'fire' | 'send' | 'switch';

/** The types of records by the number that columns tell. */
export const EVENT_TYPES: Readonly<Record<number, EventType>> = { 2: 'switch', 3: 'fire', 4: 'send' };

export type Moment =
  | { readonly reading: 'natural'; readonly cycle: Digits }
  | { readonly reading: 'natural'; readonly naturalStep: number }
  | { readonly reading: 'viewer'; readonly step: number; readonly skipTo?: Digits };

export type NoteFilter = { readonly attribute: string; readonly value: Digits } | { readonly where: string };

export interface Filter {
  readonly records?: readonly [number, number];
  readonly cycles?: readonly [Digits, Digits];
  readonly steps?: readonly [number, number];
  readonly skipTo?: Digits;
  readonly types?: readonly EventType[];
  readonly thread?: number;
  /** Ranges, of which one must have it; ends are included. */
  readonly threads?: readonly (readonly [number, number])[];
  readonly place?: PlacePair;
  readonly rect?: readonly [number, number, number, number];
  readonly domain?: PlacePair;
  readonly cluster?: PlacePair;
  /** Of messages. */
  readonly from?: PlacePair;
  readonly to?: PlacePair;
  readonly notes?: readonly NoteFilter[];
  /** What is left out: filters without ends, notes and such of their own. */
  readonly without?: readonly Filter[];
}

export type Heading = 'right' | 'left' | 'up' | 'down';

export type Piece =
  | { readonly pe: PlacePair }
  | { readonly switch: PlacePair }
  | { readonly domain: PlacePair }
  | { readonly cluster: PlacePair }
  | { readonly link: readonly [number, number, Heading] };

interface Bins {
  readonly first: Digits;
  readonly last: Digits;
  readonly bins: number;
}

interface Span {
  readonly first: Digits;
  readonly last: Digits;
}

export type HeatOf = 'fires' | 'sends' | 'receives' | 'transmissions' | 'idle';
export type WhyDirection = 'chain' | 'back' | 'forward' | 'critical';

/** Members of each question, besides the trace. */
export interface Questions {
  trace: object;
  when: ({ readonly record: number } | Moment) & { readonly shape?: Shape };
  state: Moment & { readonly shape: Shape };
  steps: Moment & { readonly shape: Shape; readonly count: number; readonly back: boolean };
  kinds: Moment & { readonly shape: Shape };
  palette: { readonly step: number };
  activity: Bins & { readonly by: 'type' | 'thread' | 'kind'; readonly worst?: boolean };
  lane: Bins & { readonly piece: Piece; readonly shape: Shape };
  counter: Bins & { readonly counter: string; readonly place?: PlacePair };
  heat: Span & { readonly shape: Shape; readonly what: HeatOf };
  links: Span & { readonly shape: Shape };
  /** From a record on, or from the nth match; with `notes` each attribute is a column. */
  events: {
    readonly filter: Filter;
    readonly shape: Shape;
    readonly from?: number;
    readonly nth?: number;
    readonly count: number;
    readonly back?: boolean;
    readonly notes?: boolean;
  };
  count: { readonly filter: Filter; readonly shape: Shape; readonly before?: number; readonly nth?: number };
  hits: Bins & { readonly filter: Filter; readonly shape: Shape };
  piece: Moment & { readonly piece: Piece; readonly shape: Shape };
  next: { readonly piece: Piece; readonly record: number; readonly back?: boolean; readonly filter?: Filter; readonly shape: Shape };
  measures: Span & { readonly shape: Shape };
  phases: { readonly shape: Shape };
  why: { readonly record: number; readonly direction: WhyDirection; readonly shape: Shape; readonly most: number };
  packet: { readonly packet: Digits; readonly shape: Shape };
  search: { readonly text: string; readonly shape: Shape; readonly most: number };
}

export type Ask = keyof Questions;
