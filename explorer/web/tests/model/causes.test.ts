import { expect, test } from 'vitest';

import { settled } from '../fixtures/smallTrace';
import { FakeEngine } from '../../src/engine/fakeEngine';
import { Explorer } from '../../src/model/explorer';
import type { CausesOf } from '../../src/model/viewStore';

const SHAPE = { clusters: [1, 1], domains: [1, 1], pes: [4, 1] } as const;

/** A fire at 0, messages from there to 1 and on to 2, another one elsewhere, and a fire at 2. */
const EVENTS = {
  record: Float64Array.of(1, 2, 3, 4, 5),
  cycle: BigUint64Array.of(10n, 11n, 12n, 12n, 14n),
  type: Uint8Array.of(3, 4, 4, 4, 3),
  thread: new Uint32Array(5),
  at: Uint32Array.of(0, 0, 0, 0, 1, 0, 3, 0, 2, 0),
  to: Uint32Array.of(0, 0, 1, 0, 2, 0, 0, 0, 0, 0),
  evidence: new Uint8Array(5),
  work: new Float64Array(5),
  travel: new Float64Array(5),
  wait: new Float64Array(5),
};
const TIME = { work: 1, travel: 2, wait: 3 };

async function open(packet: boolean) {
  const engine = new FakeEngine({
    why: () => ({ head: { steps: 5, certain: true, time: TIME }, columns: EVENTS }),
    packet: () => ({ head: { created: '9', cycles: 5, waited: 3, certain: true }, columns: { ...EVENTS, holder: new Float64Array(5) } }),
    events: () => ({
      head: { more: false, next: null },
      columns: {
        record: Float64Array.of(5),
        cycle: BigUint64Array.of(14n),
        thread: Uint32Array.of(0),
        type: Uint8Array.of(3),
        at: Uint32Array.of(2, 0),
        to: Uint32Array.of(0, 0),
        'note.packet': BigUint64Array.of(77n),
        'has.packet': Uint8Array.of(packet ? 1 : 0),
      },
    }),
  });
  const explorer = new Explorer(engine);
  explorer.trace.fingerprint.value = 'fake';
  explorer.trace.head.value = {
    shape: SHAPE,
    attributes: [{ name: 'packet', type: 'number' }],
    firstCycle: '0',
    lastCycle: '20',
  } as unknown as NonNullable<typeof explorer.trace.head.value>;
  explorer.causes.follow();
  const show = async (of: CausesOf) => {
    explorer.selection.selected.value = { record: 5 };
    explorer.view.causesOf.value = of;
    explorer.view.causes.value = true;
    await settled(explorer);
  };
  return { engine, explorer, show };
}

const asked = (engine: FakeEngine) =>
  engine.asked.map(({ ask, question }) => [ask, (question as { direction?: string }).direction ?? (question as { packet?: string }).packet]);

test('A chain joins messages that follow each other, and a cone does not', async () => {
  const { engine, explorer, show } = await open(true);
  await show('chain');
  expect(explorer.causes.path.value?.map((way) => way.map(({ column }) => column))).toEqual([[0, 1, 2], [3, 0]]);
  expect(explorer.causes.isChain.value).toBe(true);
  await show('forward');
  expect(explorer.causes.path.value?.map((way) => way.map(({ column }) => column))).toEqual([[0, 1], [1, 2], [3, 0]]);
  expect(explorer.causes.isChain.value).toBe(false);
  expect(explorer.causes.fires.value.map(({ column }) => column)).toEqual([0, 2]);
  expect(asked(engine)[0]).toEqual(['why', 'chain']);
  expect(asked(engine).slice(-1)).toEqual([['why', 'forward']]);
});

test('The way of a packet is that of the packet that is noted of the event', async () => {
  const { engine, explorer, show } = await open(true);
  await show('packet');
  expect(asked(engine).slice(-1)).toEqual([['packet', '77']]);
  expect(explorer.causes.found.value?.of).toBe('packet');
});

test('Where no packet is noted that is told, and no way is shown', async () => {
  const { explorer, show } = await open(false);
  await show('packet');
  expect(explorer.causes.lacksPacket.value).toBe(true);
  expect(explorer.causes.path.value).toBeUndefined();
});

test('The critical path needs nothing selected', async () => {
  const { engine, explorer } = await open(true);
  explorer.view.causesOf.value = 'critical';
  explorer.view.causes.value = true;
  await settled(explorer);
  expect(asked(engine)).toEqual([['why', 'critical']]);
  explorer.view.causes.value = false;
  expect(explorer.causes.path.value).toBeUndefined();
  expect(explorer.causes.fires.value).toEqual([]);
});
