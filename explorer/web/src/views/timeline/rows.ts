import type { StripWish } from '../../base/stripRows';
import { laneKey } from '../../model/timeFeeds';
import type { Lane } from '../../model/timeStore';
import type { TraceHead } from '../../protocol/answers';
import type { EventType } from '../../protocol/questions';

const TYPES: readonly EventType[] = ['fire', 'send', 'switch'];
export const TYPE_NAMES: Readonly<Record<EventType, string>> = {
  fire: 'Fires',
  send: 'Messages',
  switch: 'Transmissions',
};

/** The types that a trace has, the one first that is drawn large. */
export function typesOf(head: TraceHead | undefined): readonly EventType[] {
  const counts = { fire: head?.fires ?? 0, send: head?.sends ?? 0, switch: head?.switches ?? 0 };
  const there = TYPES.filter((type) => counts[type] > 0);
  return there.length === 0 ? ['fire'] : there;
}

/** All strips of a trace, from top to bottom. */
export function wishesOf(types: readonly EventType[], all: boolean, lanes: readonly Lane[]): readonly StripWish[] {
  const [main = 'fire', ...rest] = types;
  return [
    { kind: 'overview', key: 'overview' },
    { kind: 'ruler', key: 'ruler' },
    { kind: 'activity', key: all ? 'all' : main },
    ...rest.map((type): StripWish => ({ kind: 'count', key: type })),
    ...lanes.map((lane): StripWish => ({ kind: 'lane', key: laneKey(lane) })),
  ];
}
