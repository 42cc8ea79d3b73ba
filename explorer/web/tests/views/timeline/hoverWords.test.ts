import { describe, expect, it } from 'vitest';

import { activityOf } from '../../../src/model/activity';
import { typedAnswer } from '../../../src/engine/typed';
import { writeAnswer } from '../../../src/protocol/answer';
import { hoverWords } from '../../../src/views/timeline/hoverWords';
import type { StripScene } from '../../../src/views/timeline/scene';

const answer = typedAnswer(
  'activity',
  writeAnswer(
    { types: ['switch', 'fire', 'send'], last: '103', threads: [0], exact: true },
    {
      first: BigUint64Array.of(100n, 102n),
      count: Float64Array.of(0, 0, 6, 3, 8, 2, 0, 0, 0, 0, 0, 0),
      worst: Float64Array.of(0, 0, 5, 2, 8, 1),
      worstCycles: Float64Array.of(1, 1),
    },
  ),
);
const scene = {
  activity: activityOf(answer, 'thread'),
  main: 'fire',
  colours: { threads: [] },
  view: { start: 100n, fraction: 0, span: 4 },
  size: { width: 400 },
  lanes: new Map([
    [
      'pe',
      {
        ticks: {
          buckets: { origin: 100n, edges: Float64Array.of(0, 1, 2) },
          count: Float64Array.of(0, 1),
          thread: Uint8Array.of(255, 0),
        },
      },
    ],
  ]),
} as unknown as StripScene;
const row = (kind: 'activity' | 'count' | 'lane', key: string) => ({ kind, key, y: 0, height: 20 });

describe('what a strip tells under the pointer', () => {
  it('is the mean and the worst of its bucket, and which cycles that are', () => {
    expect(hoverWords(scene, row('activity', 'fire'), 10)).toEqual({
      when: 'cycles 100–101',
      what: '3 fires a cycle, at most 5',
    });
    expect(hoverWords(scene, row('count', 'send'), 399)).toEqual({
      when: 'cycles 102–103',
      what: '1 messages a cycle, at most 1',
    });
  });

  it('is the events of a lane', () => {
    expect(hoverWords(scene, row('lane', 'pe'), 150)).toEqual({ when: 'cycle 101', what: '1 event' });
  });

  it('is nothing where nothing is known', () => {
    expect(hoverWords(scene, row('lane', 'pe'), 350)).toBeUndefined();
    expect(hoverWords({ ...scene, activity: undefined }, row('activity', 'fire'), 10)).toBeUndefined();
    expect(hoverWords(scene, row('lane', 'other'), 10)).toBeUndefined();
  });
});
