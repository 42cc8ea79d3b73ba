import type { Camera } from '../base/camera';
import { placeText } from '../base/place';
import type { Heading, HeatOf, Piece } from '../protocol/questions';
import type { Mark } from './markStore';
import type { PlaceRect } from './selectionStore';
import type { CycleSpan, Lane } from './timeStore';
import type { CausesOf, ColourBy } from './viewStore';

/**
 * The view as a part of an address: fields that stand for themselves, so that one that nobody
 * understands is dropped alone, and an address of an older page still opens. Moments are told by
 * cycle, places by column and row: nothing in it is a number of this page's own.
 */
export interface ViewFields {
  trace?: string;
  reading?: 'natural' | 'viewer';
  skip?: bigint;
  cycle?: bigint;
  step?: number;
  colour?: ColourBy;
  heat?: HeatOf;
  layers?: string;
  why?: CausesOf;
  flat?: boolean;
  camera?: Camera;
  range?: CycleSpan;
  window?: CycleSpan;
  lanes?: readonly Lane[];
  by?: 'type' | 'kind';
  ruler?: 'step';
  select?: Piece;
  rect?: PlaceRect;
  record?: number;
  panel?: 'events' | 'none';
  filter?: string;
  marks?: readonly Mark[];
  speed?: number;
  loop?: boolean;
}

const LONGEST_FILTER = 1000;

interface Field<Value> {
  read(text: string): Value | undefined;
  write(value: Value): string;
}

const oneOf = <Name extends string>(...names: readonly Name[]): Field<Name> => ({
  read: (text) => names.find((name) => name === text),
  write: (name) => name,
});

const text: Field<string> = { read: (value) => (value === '' ? undefined : value), write: (value) => value };
const flag: Field<boolean> = { read: (value) => (value === '1' ? true : undefined), write: () => '1' };

const digits: Field<bigint> = {
  read: (value) => (/^\d{1,20}$/.test(value) && BigInt(value) < 2n ** 64n ? BigInt(value) : undefined),
  write: String,
};

const count: Field<number> = {
  read: (value) => (/^-?\d{1,15}$/.test(value) ? Number(value) : undefined),
  write: String,
};

const span: Field<CycleSpan> = {
  read: (value) => {
    const [first, last] = value.split('-').map((part) => digits.read(part));
    return first === undefined || last === undefined || first > last ? undefined : { first, last };
  },
  write: ({ first, last }) => `${first}-${last}`,
};

const camera: Field<Camera> = {
  read: (value) => {
    const [zoom, x, y, more] = value.split(',').map(Number);
    const good = [zoom, x, y].every((number) => number !== undefined && Number.isFinite(number));
    return good && more === undefined && zoom! > 0 ? { zoom: zoom!, x: x!, y: y! } : undefined;
  },
  write: ({ zoom, x, y }) => [zoom, x, y].map((number) => Number(number.toPrecision(6))).join(','),
};

const HEADINGS: readonly Heading[] = ['right', 'left', 'up', 'down'];

/** "pe:3,7", "link:3,2,right". */
const piece: Field<Piece> = {
  read: (value) => {
    const parts = /^(pe|switch|domain|cluster|link):(\d{1,9}),(\d{1,9})(?:,(\w+))?$/.exec(value);
    const [, kind, column, row, way] = parts ?? [];
    const pair = [Number(column), Number(row)] as const;
    const heading = HEADINGS.find((known) => known === way);
    if (kind === undefined || (kind === 'link') !== (heading !== undefined)) {
      return undefined;
    }
    return heading === undefined ? ({ [kind]: pair } as unknown as Piece) : { link: [...pair, heading] };
  },
  write: (value) => {
    const [kind, place] = Object.entries(value)[0] ?? ['', []];
    return `${kind}:${(place as readonly unknown[]).join(',')}`;
  },
};

const lane: Field<Lane> = {
  read: (value) => {
    const own = piece.read(value);
    const [, column, row, counter] = /^counter(?:@(\d{1,9}),(\d{1,9}))?:(.*)$/s.exec(value) ?? [];
    if (own !== undefined || counter === undefined) {
      return own && { piece: own };
    }
    return { counter, ...(column === undefined ? {} : { place: [Number(column), Number(row)] as const }) };
  },
  write: (value) =>
    'piece' in value ? piece.write(value.piece) : `counter${value.place === undefined ? '' : `@${value.place.join()}`}:${value.counter}`,
};

/** "0,0..3,7": the places at two corners. */
const rect: Field<PlaceRect> = {
  read: (value) => {
    const [c1, r1, c2, r2] = (/^(\d{1,9}),(\d{1,9})\.\.(\d{1,9}),(\d{1,9})$/.exec(value) ?? []).slice(1).map(Number);
    const isRect = c1 !== undefined && r1 !== undefined && c2 !== undefined && r2 !== undefined && c1 <= c2 && r1 <= r2;
    return isRect ? { first: { column: c1, row: r1 }, last: { column: c2, row: r2 } } : undefined;
  },
  write: ({ first, last }) => `${placeText(first)}..${placeText(last)}`,
};

/** "1842:sweep 3" or "1842:pe:3,7:sweep 3". */
const mark: Field<Mark> = {
  read: (value) => {
    const parts = /^(\d+):(?:((?:pe|switch|domain|cluster|link):[\w,]+):)?(.+)$/s.exec(value);
    const cycle = digits.read(parts?.[1] ?? '');
    const at = parts?.[2] === undefined ? undefined : piece.read(parts[2]);
    return cycle === undefined ? undefined : { name: parts?.[3] ?? '', cycle, ...(at && { piece: at }) };
  },
  write: ({ name, cycle, piece: at }) => `${cycle}:${at === undefined ? '' : `${piece.write(at)}:`}${name}`,
};

/** Values apart from each other by a character that stands in none of them. */
const listOf = <Value>(field: Field<Value>): Field<readonly Value[]> => ({
  read: (value) => value.split(';').map((part) => field.read(decodeURIComponent(part))).filter((part) => part !== undefined),
  write: (values) => values.map((part) => encodeURIComponent(field.write(part))).join(';'),
});

const layers: Field<string> = { read: (value) => (/^[mslcf]*$/.test(value) ? value : undefined), write: String };

export const FIELDS: { readonly [Name in keyof Required<ViewFields>]: Field<NonNullable<ViewFields[Name]>> } = {
  trace: text,
  reading: oneOf('natural', 'viewer'),
  skip: digits,
  cycle: digits,
  step: count,
  colour: oneOf('thread', 'kind', 'heat', 'nothing'),
  heat: oneOf('fires', 'sends', 'receives', 'transmissions', 'idle'),
  layers,
  why: oneOf('chain', 'back', 'forward', 'packet', 'critical'),
  flat: flag,
  camera,
  range: span,
  window: span,
  lanes: listOf(lane),
  by: oneOf('type', 'kind'),
  ruler: oneOf('step'),
  select: piece,
  rect,
  record: count,
  panel: oneOf('events', 'none'),
  filter: { read: (value) => text.read(value.slice(0, LONGEST_FILTER)), write: String },
  marks: listOf(mark),
  speed: count,
  loop: flag,
};

/** Reads what stands behind the `#` of an address. */
export function readFields(hash: string): ViewFields {
  const fields: Record<string, unknown> = {};
  for (const [name, value] of new URLSearchParams(hash.replace(/^#/, ''))) {
    const field = (FIELDS as Record<string, Field<unknown> | undefined>)[name];
    try {
      const read = field?.read(value);
      if (read !== undefined) {
        fields[name] = read;
      }
    } catch {
      // This field is dropped, the others stay.
    }
  }
  return fields as ViewFields;
}

export function writeFields(fields: ViewFields): string {
  const words = new URLSearchParams();
  for (const [name, field] of Object.entries(FIELDS)) {
    const value = fields[name as keyof ViewFields];
    if (value !== undefined) {
      words.set(name, (field as Field<unknown>).write(value));
    }
  }
  return words.toString();
}

