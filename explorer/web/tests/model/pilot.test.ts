import { expect, test } from 'vitest';

import type { FakeEngine } from '../../src/engine/fakeEngine';
import type { Explorer } from '../../src/model/explorer';
import type { TraceHead } from '../../src/protocol/answers';
import { AskError } from '../../src/protocol/fault';
import type { Questions } from '../../src/protocol/questions';
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

/** The trace told of once more, with `more` members that have become others. */
const tellAgain = (explorer: Explorer, more: Partial<TraceHead> = {}) => {
  const head = explorer.trace.head.value!;
  explorer.trace.head.value = { ...head, shape: { ...head.shape! }, ...more };
};

/** A trace whose changes are told when `free` is called. */
async function openHeld() {
  let free: () => void = () => undefined;
  const held = new Promise<void>((resolve) => (free = resolve));
  const opened = await openSmall({
    steps: async (question, trace) => {
      await held;
      return ANSWERING.steps!(question, trace);
    },
  });
  return { ...opened, free };
}

const soon = () => new Promise((resolve) => setTimeout(resolve, 5));
const statesAsked = (engine: FakeEngine) =>
  engine.asked.flatMap(({ ask, question }) => (ask === 'state' ? [stepOf(question as Questions['state'])] : []));

test('A step is not lost when the trace is told of once more', async () => {
  const { engine, explorer, free } = await openHeld();
  explorer.pilot.step(1);
  await soon();
  engine.asked.length = 0;
  tellAgain(explorer);
  await soon();
  free();
  await settled(explorer);
  expect(explorer.playback.picture.value?.step).toBe(1);
  expect(statesAsked(engine)).toEqual([]);
});

test('What is shown is asked for again behind a step when the trace has grown', async () => {
  const { engine, explorer, free } = await openHeld();
  explorer.pilot.step(1);
  await soon();
  engine.asked.length = 0;
  tellAgain(explorer, { records: explorer.trace.records.value + 5 });
  await soon();
  expect(statesAsked(engine)).toEqual([]);
  free();
  await settled(explorer);
  await soon();
  expect(explorer.playback.picture.value?.step).toBe(1);
  expect(statesAsked(engine)).toEqual([1]);
});

test('A jump that is on its way when the trace has grown arrives', async () => {
  let free: () => void = () => undefined;
  const held = new Promise<void>((resolve) => (free = resolve));
  const { explorer } = await openSmall({
    when: async (question, trace) => {
      await held;
      return ANSWERING.when!(question, trace);
    },
  });
  const arrived = explorer.pilot.goToRecord(30);
  await soon();
  tellAgain(explorer, { records: explorer.trace.records.value + 5 });
  await soon();
  free();
  await arrived;
  await soon();
  await settled(explorer);
  expect(explorer.playback.picture.value?.step).toBeGreaterThan(20);
});

test('A moment that was shown is known again until the trace has grown', async () => {
  const { engine, explorer } = await openSmall();
  const goTo = async (step: number) => {
    engine.asked.length = 0;
    explorer.pilot.goToStep(step);
    await settled(explorer);
    return statesAsked(engine);
  };
  expect(await goTo(7)).toEqual([7]);
  expect(await goTo(9)).toEqual([9]);
  expect(await goTo(7)).toEqual([]);
  tellAgain(explorer, { records: explorer.trace.records.value + 5 });
  await soon();
  expect(await goTo(9)).toEqual([9]);
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
