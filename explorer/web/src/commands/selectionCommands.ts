import { placeOf } from '../base/place';
import { grainOf, unitOf } from '../base/shape';
import type { EventWalk } from '../model/eventWalk';
import type { Explorer } from '../model/explorer';
import type { Inspection } from '../model/inspection';
import type { Piece } from '../protocol/questions';
import { EVENT_TYPES } from '../protocol/questions';
import type { Command } from './registry';

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
  const to = (end: 'sender' | 'receiver') => () =>
    void import('./selectionSteps').then((part) => part.toMessageEnd(explorer, inspection, end));
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
      run: () => void import('./selectionSteps').then((part) => part.selectionToRange(explorer, inspection)),
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
