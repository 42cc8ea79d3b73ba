import { expect, test } from 'vitest';

import type { MessageList, Picture } from '../../src/base/picture';
import { applyChange, changeAt, emptyMessages, type StepColumns } from '../../src/base/stepChange';

const messages = (...list: [record: number, age: number][]): MessageList => ({
  ...emptyMessages(list.length),
  record: Float64Array.from(list, ([record]) => record),
  age: Uint8Array.from(list, ([, age]) => age),
});

const PICTURE: Picture = {
  reading: 'natural',
  step: 4,
  cycle: 40n,
  last: 9,
  elements: Uint8Array.of(0, 1, 2, 3),
  switches: Uint8Array.of(0),
  messages: messages([5, 3], [7, 0]),
};

const COLUMNS: StepColumns = {
  step: Float64Array.of(5, 6),
  cycle: BigUint64Array.of(41n, 45n),
  last: Float64Array.of(11, 12),
  elementEnd: Uint32Array.of(2, 3),
  switchEnd: Uint32Array.of(0, 1),
  goneEnd: Uint32Array.of(1, 1),
  sentEnd: Uint32Array.of(1, 1),
  element: Uint32Array.of(0, 3, 2),
  elementCode: Uint8Array.of(6, 7, 8),
  switch: Uint32Array.of(0),
  switchCode: Uint8Array.of(9),
  gone: Float64Array.of(5),
  sent: Float64Array.of(10),
  sentAge: Uint8Array.of(0),
  sentThread: Uint32Array.of(3),
  sentFrom: Uint32Array.of(1, 2),
  sentTo: Uint32Array.of(3, 4),
};

test('A change replaces codes and messages, and makes those that stay older', () => {
  const next = applyChange(PICTURE, changeAt(COLUMNS, 0), 1);
  expect([next.step, next.cycle, next.last]).toEqual([5, 41n, 11]);
  expect([...next.elements]).toEqual([6, 1, 2, 7]);
  expect([...next.messages.record]).toEqual([7, 10]);
  expect([...next.messages.age]).toEqual([1, 0]);
  expect([...next.messages.from]).toEqual([0, 0, 1, 2]);
});

test('The second change is read from where the first one ends', () => {
  const next = applyChange(applyChange(PICTURE, changeAt(COLUMNS, 0), 1), changeAt(COLUMNS, 1), 1);
  expect([...next.elements]).toEqual([6, 1, 8, 7]);
  expect([...next.switches]).toEqual([9]);
  expect([...next.messages.age]).toEqual([2, 1]);
});

test('Going back, messages come back in front and those that stay get younger', () => {
  const back = { ...changeAt(COLUMNS, 0), gone: Float64Array.of(7), sent: messages([2, 11]) };
  const before = applyChange({ ...PICTURE, messages: messages([5, 3], [7, 0]) }, back, -1);
  expect([...before.messages.record]).toEqual([2, 5]);
  expect([...before.messages.age]).toEqual([11, 2]);
});

test('A picture is never changed once it is made', () => {
  const elements = PICTURE.elements.slice();
  applyChange(PICTURE, changeAt(COLUMNS, 0), 1);
  expect(PICTURE.elements).toEqual(elements);
});
