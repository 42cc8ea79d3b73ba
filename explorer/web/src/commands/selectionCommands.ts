import { placeOf } from '../base/place';
import { grainOf, unitOf } from '../base/shape';
import type { EventWalk } from '../model/eventWalk';
import type { Explorer } from '../model/explorer';
import type { Inspection } from '../model/inspection';
import type { EventHead } from '../protocol/answers';
import type { Piece } from '../protocol/questions';
import { EVENT_TYPES } from '../protocol/questions';
import type { Command } from './registry';

/** The other end of the message that came in last, or that went out last. */
function messageEnd(explorer: Explorer, inspection: Inspection, end: 'sender' | 'receiver') {
  const { cycle } = explorer.playback.now.peek();
  const what = end === 'sender' ? 'gets' : 'sends';
  const around = inspection.shown.peek()?.around ?? [];
  const before = around.filter((event) => event.what === what && BigInt(event.cycle) <= cycle);
  const event: EventHead | undefined = before[before.length - 1] ?? around.find((one) => one.what === what);
  return event === undefined ? undefined : { event, place: end === 'sender' ? event.at : event.to };
}

/** The ends of the selected event, if it is a message. */
function endOfRecord(inspection: Inspection, end: 'sender' | 'receiver') {
  const columns = inspection.event.fed.peek()?.answer.columns;
  const list = end === 'sender' ? columns?.at : columns?.to;
  return EVENT_TYPES[columns?.type[0] ?? 0] === 'send' && list !== undefined ? ([list[0] ?? 0, list[1] ?? 0] as const) : undefined;
}

/** What the selected event is of. */
function actorOfRecord({ trace }: Explorer, inspection: Inspection): Piece | undefined {
  const columns = inspection.event.fed.peek()?.answer.columns;
  const shape = trace.shape.peek();
  if (columns === undefined || shape === undefined) {
    return undefined;
  }
  const at = [columns.at[0] ?? 0, columns.at[1] ?? 0] as const;
  if (EVENT_TYPES[columns.type[0] ?? 0] !== 'switch') {
    return { pe: at };
  }
  const { column, row } = unitOf(grainOf(shape, 'cluster'), placeOf(at));
  return { switch: [column, row] };
}

function follow(explorer: Explorer, inspection: Inspection, end: 'sender' | 'receiver'): void {
  const selected = explorer.selection.selected.peek();
  if (selected !== undefined && 'record' in selected) {
    const place = endOfRecord(inspection, end);
    if (place !== undefined) {
      explorer.selection.selectPiece({ pe: place });
    }
    return;
  }
  const found = messageEnd(explorer, inspection, end);
  if (found?.place !== undefined) {
    explorer.selection.selectPiece({ pe: found.place });
    void explorer.pilot.goToRecord(found.event.record);
  }
}

/** Whether the notes tell packets. */
export const hasPackets = ({ trace }: Explorer): boolean =>
  trace.head.peek()?.attributes.some(({ name }) => name === 'packet') === true;

/** Shows the way of the selected's packet; where it is shown, goes on to its next message. */
function followAlong({ view, causes, selection, pilot }: Explorer): void {
  const found = causes.found.peek();
  if (!view.causes.peek() || found?.of !== 'packet') {
    view.causesOf.value = 'packet';
    view.causes.value = true;
    return;
  }
  const { record, type } = found.columns;
  const selected = selection.selected.peek();
  const reached = selected !== undefined && 'record' in selected ? selected.record : -1;
  const messages = record.filter((_, i) => EVENT_TYPES[type[i] ?? 0] === 'send');
  const next = messages.find((each) => each > reached) ?? messages[0];
  if (next !== undefined) {
    selection.selected.value = { record: next };
    void pilot.goToRecord(next);
  }
}

/** The cycles that an event, or the shown part of time, stands for. */
function selectionToRange(explorer: Explorer, inspection: Inspection): void {
  const { time, playback } = explorer;
  const { cycle } = playback.now.peek();
  const around = inspection.shown.peek()?.around ?? [];
  const cycles = around.map((event) => BigInt(event.cycle));
  const first = cycles.reduce((least, each) => (each < least ? each : least), cycle);
  const last = cycles.reduce((most, each) => (each > most ? each : most), cycle);
  time.range.value = { first, last };
}

/** Events of what is selected, the ends of its messages, and the panel that tells about it. */
export function selectionCommands(
  explorer: Explorer,
  inspection: Inspection,
  walk: EventWalk,
): readonly Command[] {
  const { selection, panels } = explorer;
  const group = 'Selection';
  const hasPiece = () => selection.piece.peek() !== undefined;
  const actor = () => selection.piece.peek() ?? actorOfRecord(explorer, inspection);
  const hasActor = () => actor() !== undefined;
  const has = () => selection.selected.peek() !== undefined;
  const go = (back: boolean) => () => {
    const piece = actor();
    if (piece !== undefined) {
      void walk.go(piece, back);
    }
  };
  const to = (end: 'sender' | 'receiver') => () => follow(explorer, inspection, end);
  return [
    { id: 'select.previousEvent', group, name: 'Previous event', icon: 'back', can: hasActor, run: go(true) },
    { id: 'select.nextEvent', group, name: 'Next event', icon: 'forward', can: hasActor, run: go(false) },
    { id: 'select.sender', group, name: 'To the sender of the message', icon: 'message', can: has, run: to('sender') },
    {
      id: 'select.receiver',
      group,
      name: 'To the receiver of the message',
      icon: 'message',
      can: has,
      run: to('receiver'),
    },
    {
      id: 'select.along',
      group,
      name: 'Follow message along its links',
      icon: 'path',
      can: () => has() && hasPackets(explorer),
      run: () => followAlong(explorer),
    },
    {
      id: 'select.range',
      group,
      name: 'Make what is around the playhead the range',
      icon: 'focus',
      can: hasPiece,
      run: () => selectionToRange(explorer, inspection),
    },
    {
      id: 'select.inspector',
      group,
      name: 'Inspector',
      icon: 'search',
      run: () => (panels.dock.value = panels.dock.peek() === 'inspector' ? undefined : 'inspector'),
    },
  ];
}
