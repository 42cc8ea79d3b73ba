import { expect, test } from 'vitest';

import { Latest } from '../../src/base/latest';

const turn = () => new Promise((resolve) => setTimeout(resolve));

test('Only the newest of the questions that wait is asked', async () => {
  const asked: number[] = [];
  const free: (() => void)[] = [];
  const latest = new Latest<number>((key) => {
    asked.push(key);
    return new Promise((resolve) => free.push(resolve));
  });
  [1, 2, 3, 4].forEach((key) => latest.want(key));
  expect(asked).toEqual([1]);
  free[0]?.();
  await turn();
  expect(asked).toEqual([1, 4]);
  free[1]?.();
  await turn();
  expect(latest.busy).toBe(false);
});

test('What is dropped is told so and does not run again', async () => {
  const asked: number[] = [];
  let stopped = false;
  const latest = new Latest<number>(async (key, signal) => {
    asked.push(key);
    await turn();
    stopped = signal.aborted;
  });
  latest.want(1);
  latest.want(2);
  latest.drop();
  await turn();
  await turn();
  expect(asked).toEqual([1]);
  expect(stopped).toBe(true);
});
