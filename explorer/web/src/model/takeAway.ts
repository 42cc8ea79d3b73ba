import type { PlacePair } from '../base/place';
import { unitSpan, type Shape } from '../base/shape';
import type { Filter, NoteFilter, Piece } from '../protocol/questions';
import type { Explorer } from './explorer';
import type { CycleSpan } from './timeStore';
import type { Selected } from './selectionStore';

// What can be taken away, as the server is asked for it: `what` and its parameters. Each stands for
// one command line of marrowfin-trace, which the server tells and runs.

export type TakeQuery = Readonly<Record<string, string | readonly string[]>>;
export type PlotKind = 'heat' | 'links' | 'threads' | 'spacetime' | 'timeline' | 'histogram' | 'latency' | 'why';

export const MOST_PICTURES = 1000; // of a film

/** The parameters as a part of an address. */
export function takeText(query: TakeQuery): string {
  return Object.entries(query)
    .flatMap(([name, value]) => (typeof value === 'string' ? [[name, value]] : value.map((one) => [name, one])))
    .map(([name, value]) => `${name}=${encodeURIComponent(value ?? '')}`)
    .join('&');
}

/** The shape that the server was told, which a command must be told too. */
function shapeWords(explorer: Explorer): TakeQuery {
  const head = explorer.trace.head.peek();
  const shape = head?.shape;
  if (head?.shapeFrom !== 'option' || shape === null || shape === undefined) {
    return {};
  }
  const side = ([columns, rows]: PlacePair) => (columns === rows ? String(columns) : undefined);
  const [clusters, domains, pes] = [side(shape.clusters), side(shape.domains), side(shape.pes)];
  return clusters === undefined || domains === undefined || pes === undefined ? {} : { clusters, domains, pes };
}

const rangeWords = (range: CycleSpan | undefined): TakeQuery =>
  range === undefined ? {} : { first: String(range.first), last: String(range.last) };

const range = (explorer: Explorer) => rangeWords(explorer.time.range.peek());

/** The moment that is shown. */
function momentWords(explorer: Explorer): TakeQuery {
  const { view, playback } = explorer;
  const { step, cycle } = playback.now.peek();
  if (view.reading.peek() === 'natural') {
    return { cycle: String(cycle) };
  }
  const skipTo = view.skipTo.peek();
  return { step: String(step), ...(skipTo === 0n ? {} : { skipTo: String(skipTo) }) };
}

function renderWords(explorer: Explorer): TakeQuery {
  const viewer = explorer.view.reading.peek() === 'viewer';
  return viewer ? { reading: 'viewer' } : { reading: 'natural', theme: explorer.settings.theme.peek() };
}

export function plotTake(explorer: Explorer, kind: PlotKind, format: string): TakeQuery {
  const measure: TakeQuery = kind === 'heat' ? { measure: explorer.view.heatOf.peek() } : {};
  const theme = explorer.settings.theme.peek();
  return { what: 'plot', kind, format, ...measure, ...range(explorer), theme, ...shapeWords(explorer) };
}

/** The picture that a command draws of what the floorplan shows; of kinds, what stands where. */
export function viewTake(explorer: Explorer): TakeQuery {
  const { view } = explorer;
  if (view.linkLoad.peek()) {
    return plotTake(explorer, 'links', 'png');
  }
  if (view.colourBy.peek() === 'heat') {
    return plotTake(explorer, 'heat', 'png');
  }
  if (view.colourBy.peek() === 'kind') {
    return { ...stateTake(explorer), places: '1' };
  }
  return { what: 'render', ...renderWords(explorer), ...momentWords(explorer), ...shapeWords(explorer) };
}

/** What stands at the moment, as words. */
export const stateTake = (explorer: Explorer): TakeQuery => ({
  what: 'state',
  format: 'text',
  ...momentWords(explorer),
  ...shapeWords(explorer),
});

/** Pictures of a film from a step (or cycle) to another: all, or every so many of long ones. */
export function filmTake(explorer: Explorer, from: bigint, to: bigint, fps: number): TakeQuery {
  const every = (to - from) / BigInt(MOST_PICTURES) + 1n;
  const skipTo = explorer.view.skipTo.peek();
  const skip: TakeQuery = explorer.view.reading.peek() === 'viewer' && skipTo > 0n ? { skipTo: String(skipTo) } : {};
  return {
    what: 'film',
    ...renderWords(explorer),
    ...skip,
    from: String(from),
    to: String(to),
    ...(every === 1n ? {} : { every: String(every) }),
    fps: String(fps),
    ...shapeWords(explorer),
  };
}

export const reportTake = (explorer: Explorer): TakeQuery => ({
  what: 'report',
  ...range(explorer),
  theme: explorer.settings.theme.peek(),
  ...shapeWords(explorer),
});

/** The range as a trace: its bytes alone, or packed with what stands beside it. */
export const cutTake = (explorer: Explorer, format: 'raw' | 'packed'): TakeQuery => ({
  what: 'trace',
  format,
  ...range(explorer),
  ...shapeWords(explorer),
});

export const statsTake = (explorer: Explorer, format: 'json' | 'text'): TakeQuery => ({
  what: 'stats',
  format,
  ...range(explorer),
  ...shapeWords(explorer),
});

const pairText = (pair: PlacePair): string => pair.join(',');

/** The words of a filter's region, if it has one. */
function regionOf(filter: Filter): TakeQuery {
  const { place, rect, domain, cluster } = filter;
  if (place !== undefined) {
    return { region: pairText(place) };
  }
  if (rect !== undefined) {
    return { region: `${rect[0]},${rect[1]}:${rect[2]},${rect[3]}` };
  }
  if (domain !== undefined) {
    return { region: `domain:${pairText(domain)}` };
  }
  return cluster === undefined ? {} : { region: `cluster:${pairText(cluster)}` };
}

/** A note as the command knows it: of values that have names, by name. */
function noteText(explorer: Explorer, note: NoteFilter): string {
  if ('where' in note) {
    return note.where;
  }
  const { attribute, value } = note;
  const known = explorer.trace.head.peek()?.attributes.find(({ name }) => name === attribute);
  return `${attribute}=${known?.names?.[value] ?? value}`;
}

const threadsText = ([first, last]: readonly [number, number]): string =>
  first === last ? String(first) : `${first}-${last}`;

/** The events that a filter lets through; of what it leaves out, all that it has. */
export function eventsTake(explorer: Explorer, filter: Filter, format: 'csv' | 'text'): TakeQuery {
  const { records, cycles, steps, skipTo, types, thread, threads, from, to, notes, without } = filter;
  if (without?.[0] !== undefined) {
    return { ...eventsTake(explorer, without[0], format), not: '1' };
  }
  return {
    what: 'events',
    format,
    ...(cycles === undefined ? {} : { first: cycles[0], last: cycles[1] }),
    ...(records === undefined ? {} : { records: `${records[0]}:${records[1] - 1}` }),
    ...(steps === undefined ? {} : { steps: steps.join(':') }),
    ...(steps === undefined || skipTo === undefined ? {} : { skipTo }),
    ...(thread === undefined ? {} : { thread: String(thread) }),
    ...(threads === undefined ? {} : { threads: threads.map(threadsText).join(',') }),
    ...(notes === undefined ? {} : { where: notes.map((note) => noteText(explorer, note)) }),
    ...regionOf(filter),
    ...(from === undefined ? {} : { from: pairText(from) }),
    ...(to === undefined ? {} : { to: pairText(to) }),
    ...(types === undefined ? {} : { types: types.join(',') }),
    ...shapeWords(explorer),
  };
}

const sameRect = (pair: PlacePair, span: PlacePair): readonly [number, number, number, number] => [
  pair[0] * span[0],
  pair[1] * span[1],
  (pair[0] + 1) * span[0] - 1,
  (pair[1] + 1) * span[1] - 1,
];

/** The events of a piece, which is no link. */
function filterOfPiece(piece: Exclude<Piece, { link: unknown }>, shape: Shape): Filter {
  if ('pe' in piece) {
    return { place: piece.pe };
  }
  if ('domain' in piece) {
    return { rect: sameRect(piece.domain, unitSpan(shape, 'domain')) };
  }
  return 'cluster' in piece ? { cluster: piece.cluster } : { cluster: piece.switch, types: ['switch'] };
}

/** What led to what is selected, or came of it; undefined where nothing can have causes. */
function whyTake(explorer: Explorer, selected: Selected): TakeQuery | undefined {
  const of = explorer.view.causesOf.peek();
  const words: TakeQuery = { what: 'why', format: 'text', ...(of === 'back' || of === 'forward' ? { cone: of } : {}) };
  const found = explorer.causes.found.peek();
  if (of === 'critical') {
    return { ...words, ...shapeWords(explorer) };
  }
  if (of === 'packet') {
    return found?.of === 'packet' ? { ...words, packet: String(found.packet), ...shapeWords(explorer) } : undefined;
  }
  if ('record' in selected) {
    return { ...words, record: String(selected.record), ...shapeWords(explorer) };
  }
  if ('piece' in selected && 'pe' in selected.piece) {
    const cycle = String(explorer.playback.now.peek().cycle);
    return { ...words, pe: pairText(selected.piece.pe), cycle, ...shapeWords(explorer) };
  }
  return undefined;
}

/** What the selected is told by: its causes where they are shown, the loads of links, else its events. */
export function selectionTake(explorer: Explorer): TakeQuery | undefined {
  const selected = explorer.selection.selected.peek();
  const shape = explorer.trace.shape.peek();
  if (selected === undefined || shape === undefined) {
    return undefined;
  }
  const why = explorer.view.causes.peek() ? whyTake(explorer, selected) : undefined;
  if (why !== undefined) {
    return why;
  }
  if ('record' in selected) {
    return eventsTake(explorer, { records: [selected.record, selected.record + 1] }, 'text');
  }
  if ('piece' in selected && 'link' in selected.piece) {
    return { ...statsTake(explorer, 'text'), table: 'links' };
  }
  const area = 'rect' in selected ? rectFilter(selected.rect) : filterOfPiece(selected.piece as Exclude<Piece, { link: unknown }>, shape);
  return { ...eventsTake(explorer, area, 'text'), ...range(explorer) };
}

const rectFilter = ({ first, last }: Extract<Selected, { rect: unknown }>['rect']): Filter => ({
  rect: [first.column, first.row, last.column, last.row],
});
