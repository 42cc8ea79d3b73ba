import type { Explorer } from '../model/explorer';
import type { Lane } from '../model/timeStore';
import type { Timeline } from '../model/timeline';
import type { Command } from './registry';

const ZOOM = 1.6;

/** Thread, type and, where the notes tell kinds, kind. */
export function nextBy(explorer: Explorer): 'thread' | 'type' | 'kind' {
  const kinds = explorer.trace.head.value?.attributes.some(({ name }) => name === 'kind') === true;
  const order = kinds ? (['thread', 'type', 'kind'] as const) : (['thread', 'type'] as const);
  const at = order.findIndex((by) => by === explorer.time.activityBy.value);
  return order[(at + 1) % order.length] ?? 'thread';
}

function togglePin(explorer: Explorer): void {
  const piece = explorer.selection.piece.peek();
  if (piece !== undefined) {
    const lane: Lane = { piece };
    if (explorer.time.isPinned(lane)) {
      explorer.time.unpin(lane);
    } else {
      explorer.time.pin(lane);
    }
  }
}

/** One end of the range at the playhead; the other one stays unless it would lie on the wrong side. */
function setRangeEnd({ time, playback, trace }: Explorer, end: 'first' | 'last'): void {
  const { cycle } = playback.now.peek();
  const whole = { first: trace.firstCycle.peek(), last: trace.lastCycle.peek() };
  const range = { ...whole, ...time.range.peek(), [end]: cycle };
  time.range.value = range.first > range.last ? { ...whole, [end]: cycle } : range;
}

/** What moves the timeline's window and says what it shows. */
export function timelineCommands(explorer: Explorer, timeline: Timeline): readonly Command[] {
  const { time, selection, trace } = explorer;
  const { mover } = timeline;
  const can = () => trace.head.peek() !== undefined;
  const hasRange = () => time.range.peek() !== undefined;
  const group = 'Timeline';
  return [
    { id: 'timeline.zoomIn', group, name: 'Zoom in', can, run: () => mover.zoom(1 / ZOOM, timeline.zoomShare()) },
    { id: 'timeline.zoomOut', group, name: 'Zoom out', can, run: () => mover.zoom(ZOOM, timeline.zoomShare()) },
    { id: 'timeline.panLeft', group, name: 'Pan to earlier', can, run: () => mover.pan(-1) },
    { id: 'timeline.panRight', group, name: 'Pan to later', can, run: () => mover.pan(1) },
    { id: 'timeline.whole', group, name: 'Show the whole run', icon: 'fit', can, run: () => mover.whole() },
    {
      id: 'timeline.toRange',
      group,
      name: 'Zoom to the range',
      icon: 'focus',
      can: hasRange,
      run: () => {
        const range = time.range.peek();
        if (range !== undefined) {
          mover.toSpan(range.first, range.last);
        }
      },
    },
    {
      id: 'timeline.rangeFrom',
      group,
      name: 'Begin the range at the playhead',
      can,
      run: () => setRangeEnd(explorer, 'first'),
    },
    {
      id: 'timeline.rangeTo',
      group,
      name: 'End the range at the playhead',
      can,
      run: () => setRangeEnd(explorer, 'last'),
    },
    {
      id: 'timeline.clearRange',
      group,
      name: 'Clear the range',
      icon: 'close',
      can: hasRange,
      run: () => (time.range.value = undefined),
    },
    {
      id: 'timeline.pin',
      group,
      name: 'Pin or unpin the selected as a lane',
      icon: 'pin',
      can: () => selection.piece.peek() !== undefined,
      run: () => togglePin(explorer),
    },
    {
      id: 'timeline.by',
      group,
      name: 'Show activity by thread, type or kind',
      icon: 'heat',
      can,
      run: () => (time.activityBy.value = nextBy(explorer)),
    },
  ];
}
