// What commands on the selection do that are not needed before one of them is given.

import type { Explorer } from '../model/explorer';
import type { Inspection } from '../model/inspection';
import type { EventHead } from '../protocol/answers';
import { EVENT_TYPES } from '../protocol/questions';

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

/** Selects the place at the other end of a message, and goes there. */
export function toMessageEnd(explorer: Explorer, inspection: Inspection, end: 'sender' | 'receiver'): void {
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

/** The cycles that an event, or the shown part of time, stands for. */
export function selectionToRange(explorer: Explorer, inspection: Inspection): void {
  const { time, playback } = explorer;
  const { cycle } = playback.now.peek();
  const around = inspection.shown.peek()?.around ?? [];
  const cycles = around.map((event) => BigInt(event.cycle));
  const first = cycles.reduce((least, each) => (each < least ? each : least), cycle);
  const last = cycles.reduce((most, each) => (each > most ? each : most), cycle);
  time.range.value = { first, last };
}
