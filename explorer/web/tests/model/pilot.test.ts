import { expect, test } from 'vitest';

import { AskError } from '../../src/protocol/fault';
import { ANSWERING, elementsAt, openSmall, settled, STEPS, stepOf } from '../fixtures/smallTrace';

test('The first moment is shown when the trace is open', async () => {
  const { explorer } = await openSmall();
  expect(explorer.playback.picture.value).toMatchObject({ step: 0, cycle: 0n });
});

test('Of jumps that come faster than answers only the first and the last are asked for', async () => {
  const { engine, explorer } = await openSmall();
  engine.asked.length = 0;
  for (const step of [10, 20, 30, 40]) {
    explorer.pilot.goToStep(step);
  }
  await settled(explorer);
  expect(explorer.playback.picture.value?.step).toBe(40);
  expect(engine.asked.length).toBe(2);
});

test('The old picture stays until the next one is there', async () => {
  let free: () => void = () => undefined;
  const { explorer } = await openSmall({
    state: async (question, trace) => {
      if (stepOf(question) === 50) {
        await new Promise<void>((resolve) => (free = resolve));
      }
      return ANSWERING.state!(question, trace);
    },
  });
  explorer.pilot.goToStep(50);
  await new Promise((resolve) => setTimeout(resolve, 5));
  expect(explorer.playback.picture.value?.step).toBe(0);
  expect(explorer.playback.wanted.value.step).toBe(50);
  free();
  await settled(explorer);
  expect(explorer.playback.picture.value?.step).toBe(50);
});

test('Steps lead through the same pictures as jumps, forward and backward', async () => {
  const { explorer } = await openSmall();
  for (const [by, step] of [[1, 1], [10, 11], [-3, 8], [30, 38], [-38, 0]] as const) {
    explorer.pilot.step(by);
    await settled(explorer);
    expect(explorer.playback.picture.value?.step).toBe(step);
    expect(explorer.playback.picture.value?.elements).toEqual(elementsAt(step));
  }
});

test('Steps that are asked for at once are all done', async () => {
  const { explorer } = await openSmall();
  explorer.pilot.step(1);
  explorer.pilot.step(1);
  explorer.pilot.step(10);
  await settled(explorer);
  expect(explorer.playback.picture.value?.step).toBe(12);
});

test('Steps end at the ends of the trace without a word', async () => {
  const { explorer } = await openSmall();
  explorer.pilot.step(-5);
  await settled(explorer);
  expect(explorer.playback.picture.value?.step).toBe(0);
  explorer.pilot.goToLast();
  await settled(explorer);
  explorer.pilot.step(5);
  await settled(explorer);
  expect(explorer.playback.picture.value?.step).toBe(STEPS - 1);
  expect(explorer.alerts.shown.value).toBeUndefined();
});

test('A jump takes over from steps that are on their way', async () => {
  const { explorer } = await openSmall();
  explorer.pilot.step(80);
  explorer.pilot.goToStep(5);
  await settled(explorer);
  expect(explorer.playback.picture.value?.step).toBe(5);
});

test('The other reading shows the same cycle', async () => {
  const { explorer } = await openSmall();
  await explorer.pilot.goToCycle(420n);
  await settled(explorer);
  explorer.view.reading.value = 'viewer';
  await settled(explorer);
  expect(explorer.playback.picture.value).toMatchObject({ reading: 'viewer', step: 42, cycle: 420n });
  explorer.view.reading.value = 'natural';
  await settled(explorer);
  expect(explorer.playback.picture.value).toMatchObject({ reading: 'natural', step: 42, cycle: 420n });
});

test('Cycles beyond the trace are its ends', async () => {
  const { explorer } = await openSmall();
  await explorer.pilot.goToCycle(10n ** 15n);
  await settled(explorer);
  expect(explorer.playback.picture.value?.step).toBe(STEPS - 1);
});

test('A failure is told, and the picture stays', async () => {
  const { explorer } = await openSmall({
    state: (question, trace) => {
      if (stepOf(question) === 7) {
        throw new AskError({ code: 'damaged', message: 'record 7 is damaged', remedy: 'run it again' });
      }
      return ANSWERING.state!(question, trace);
    },
  });
  explorer.pilot.goToStep(7);
  await settled(explorer);
  expect(explorer.playback.picture.value?.step).toBe(0);
  expect(explorer.alerts.shown.value?.parts[0]).toEqual({ strong: 'Record 7 is damaged.' });
  explorer.pilot.goToStep(8);
  await settled(explorer);
  expect(explorer.alerts.shown.value).toBeUndefined();
});
