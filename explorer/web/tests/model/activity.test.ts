import { describe, expect, it } from 'vitest';

import { typedAnswer } from '../../src/engine/typed';
import { activityOf } from '../../src/model/activity';
import { writeAnswer } from '../../src/protocol/answer';

/** Two buckets of 1 and 2 cycles; threads 1 and 7 (one colour), and the rest. */
function answer(by: 'thread' | 'type') {
  const perSlot = [
    [1, 2, 10, 20, 0, 0],
    [0, 0, 1, 2, 0, 0],
    [0, 0, 5, 0, 4, 4],
  ];
  const head = { types: ['switch', 'fire', 'send'], last: '102', exact: true };
  return typedAnswer(
    'activity',
    writeAnswer(by === 'thread' ? { ...head, threads: [1, 7] } : head, {
      first: BigUint64Array.of(100n, 101n),
      count: Float64Array.from(by === 'thread' ? perSlot.flat() : [1, 2, 16, 22, 4, 4]),
      worst: Float64Array.of(1, 2, 16, 15, 4, 4),
      worstCycles: Float64Array.of(1, 1),
    }),
  );
}

describe('activity', () => {
  it('is told a cycle, threads of one colour together and the rest apart', () => {
    const { stacks } = activityOf(answer('thread'), 'thread');
    const { mean } = stacks.fire;
    expect([...mean.subarray(2, 4)]).toEqual([11, 11]);
    expect([...mean.subarray(12, 14)]).toEqual([5, 0]);
    expect(mean.reduce((sum, value) => sum + value)).toBe(27);
  });

  it('counts a type by its worst cycle where buckets hide cycles', () => {
    const { counts, worstCycles } = activityOf(answer('thread'), 'thread');
    expect([...counts.fire.values]).toEqual([16, 15]);
    expect([...counts.send.values]).toEqual([4, 4]);
    expect(worstCycles).toBe(1);
  });

  it('by type stacks fires, messages and transmissions', () => {
    const { types, stacks } = activityOf(answer('type'), 'type');
    expect(types.slots).toBe(3);
    expect([...types.mean]).toEqual([16, 11, 4, 2, 1, 1]);
    expect([...stacks.fire.mean.subarray(0, 2)]).toEqual([16, 11]);
  });

  it('knows the worst as it is where each bucket is a cycle', () => {
    const narrow = typedAnswer(
      'activity',
      writeAnswer(
        { types: ['switch', 'fire', 'send'], last: '5', threads: [0], exact: true },
        {
          first: BigUint64Array.of(5n),
          count: Float64Array.of(1, 7, 2, 0, 3, 0),
          worst: Float64Array.of(1, 10, 2),
          worstCycles: Float64Array.of(1),
        },
      ),
    );
    const { stacks, counts } = activityOf(narrow, 'thread');
    expect(stacks.fire.worst).toBeUndefined();
    expect([...counts.fire.values]).toEqual([10]);
  });

  it('may be none', () => {
    const none = typedAnswer(
      'activity',
      writeAnswer({ last: '0', exact: true }, { first: new BigUint64Array(), count: new Float64Array() }),
    );
    expect(activityOf(none, 'thread').stacks.fire.mean.length).toBe(0);
  });
});
