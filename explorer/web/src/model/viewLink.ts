import { windowOf } from '../base/timeScale';
import type { Explorer } from './explorer';
import type { Selected } from './selectionStore';
import { readFields, writeFields, type ViewFields } from './url';

const LETTERS = { m: 'messages', s: 'switches', l: 'linkLoad', c: 'causes', f: 'toFullest' } as const;
const USUAL = 'ms';

/** The part of an address that stands for the whole view; fields that are as usual are left out. */
export function viewFields(explorer: Explorer): ViewFields {
  const { trace, view, playback, time, selection, marks, panels } = explorer;
  const selected = selection.selected.value;
  const by = time.activityBy.value;
  const at = playback.wanted.value;
  const layers = Object.entries(LETTERS)
    .filter(([, layer]) => view[layer].value)
    .map(([letter]) => letter)
    .join('');
  const viewer = view.reading.value === 'viewer';
  const strip = time.view.value;
  const fields: { [Name in keyof ViewFields]: ViewFields[Name] | undefined } = {
    trace: trace.all.value.length > 1 ? trace.status.value?.name : undefined,
    reading: viewer ? 'viewer' : undefined,
    skip: viewer && view.skipTo.value > 0n ? view.skipTo.value : undefined,
    cycle: at.cycle,
    step: viewer ? at.step : undefined,
    colour: view.colourBy.value === 'thread' ? undefined : view.colourBy.value,
    heat: view.heatOf.value === 'fires' ? undefined : view.heatOf.value,
    layers: layers === USUAL ? undefined : layers,
    why: view.causesOf.value === 'chain' ? undefined : view.causesOf.value,
    flat: trace.flat.value || undefined,
    camera: view.camera.value,
    range: time.range.value,
    window: strip && { first: strip.start, last: strip.start + BigInt(Math.max(1, Math.ceil(strip.span))) - 1n },
    lanes: time.lanes.value.length > 0 ? time.lanes.value : undefined,
    by: by === 'thread' ? undefined : by,
    ruler: time.unit.value === 'step' ? 'step' : undefined,
    select: selection.piece.value,
    rect: selected !== undefined && 'rect' in selected ? selected.rect : undefined,
    record: selected !== undefined && 'record' in selected ? selected.record : undefined,
    panel: panels.dock.value === 'inspector' ? undefined : (panels.dock.value ?? 'none'),
    filter: panels.filter.value === '' ? undefined : panels.filter.value,
    marks: marks.marks.value.length > 0 ? marks.marks.value : undefined,
    speed: playback.speed.value === 10 ? undefined : playback.speed.value,
    loop: playback.loop.value || undefined,
  };
  return Object.fromEntries(Object.entries(fields).filter(([, value]) => value !== undefined));
}

export const viewHash = (explorer: Explorer): string => `#${writeFields(viewFields(explorer))}`;

function selectedOf({ select, rect, record }: ViewFields): Selected | undefined {
  if (select !== undefined) {
    return { piece: select };
  }
  return rect !== undefined ? { rect } : record === undefined || record < 0 ? undefined : { record };
}

/** Puts what an address tells into the stores. What it does not tell is as usual. */
export function applyHash(explorer: Explorer, hash: string): void {
  const fields = readFields(hash);
  const { trace, view, playback, time, selection, marks, watch, panels } = explorer;
  watch.wished = fields.trace ?? watch.wished;
  view.reading.value = fields.reading ?? 'natural';
  view.skipTo.value = fields.skip ?? 0n;
  view.colourBy.value = fields.colour ?? 'thread';
  view.heatOf.value = fields.heat ?? 'fires';
  view.camera.value = fields.camera;
  const layers = fields.layers ?? USUAL;
  Object.entries(LETTERS).forEach(([letter, layer]) => (view[layer].value = layers.includes(letter)));
  view.causesOf.value = fields.why ?? 'chain';
  trace.flat.value = fields.flat ?? false;
  time.range.value = fields.range;
  time.view.value = fields.window && windowOf(fields.window);
  time.lanes.value = fields.lanes ?? [];
  time.activityBy.value = fields.by ?? 'thread';
  time.unit.value = fields.ruler ?? 'cycle';
  selection.selected.value = selectedOf(fields);
  panels.dock.value = fields.panel === 'none' ? undefined : (fields.panel ?? 'inspector');
  panels.filter.value = fields.filter ?? '';
  marks.open(fields.marks ?? []);
  playback.speed.value = fields.speed === undefined || fields.speed === 0 ? 10 : fields.speed;
  playback.loop.value = fields.loop ?? false;
  if (fields.cycle !== undefined || fields.step !== undefined) {
    playback.wanted.value = { step: fields.step ?? -1, cycle: fields.cycle ?? 0n };
  }
}
