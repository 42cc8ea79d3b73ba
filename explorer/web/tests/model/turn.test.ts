import { expect, test } from 'vitest';

import { Turn } from '../../src/model/turn';

const natural = { reading: 'natural', step: 0, cycle: 17n } as const;
const viewer = { reading: 'viewer', step: 3, cycle: 12n } as const;

test('Who enters the other reading and leaves it at once is where he was', () => {
  const turn = new Turn();
  turn.arrive(natural);
  expect(turn.to('viewer', natural)).toBeUndefined();
  turn.arrive(viewer);
  expect(turn.to('natural', viewer)).toEqual({ step: 0, cycle: 17n });
  turn.arrive(natural);
  expect(turn.to('viewer', natural)).toEqual({ step: 3, cycle: 12n });
});

test('Who has gone elsewhere meanwhile stays there', () => {
  const turn = new Turn();
  turn.to('viewer', natural);
  turn.arrive(viewer);
  expect(turn.to('natural', { ...viewer, step: 4, cycle: 20n })).toBeUndefined();
});

test('A reading that is shown already is not turned to', () => {
  const turn = new Turn();
  expect(turn.to('natural', natural)).toBeUndefined();
  expect(turn.to('natural', undefined)).toBeUndefined();
});
