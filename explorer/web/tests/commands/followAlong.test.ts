import { expect, test } from 'vitest';

import { floorplanCommands } from '../../src/commands/floorplanCommands';
import { selectionCommands } from '../../src/commands/selectionCommands';
import type { Found } from '../../src/model/causes';
import { EventWalk } from '../../src/model/eventWalk';
import { Inspection } from '../../src/model/inspection';
import { viewFields } from '../../src/model/viewLink';
import { openSmall, settled } from '../fixtures/smallTrace';

const [FIRE, SEND] = [3, 4];

async function along() {
  const { explorer } = await openSmall();
  const commands = selectionCommands(explorer, new Inspection(explorer), new EventWalk(explorer));
  return { explorer, command: commands.find(({ id }) => id === 'select.along')! };
}

test('The way of a message is shown first, and then followed from message to message', async () => {
  const { explorer, command } = await along();
  explorer.selection.selectPiece({ pe: [1, 0] });
  command.run();
  expect([explorer.view.causes.value, explorer.view.causesOf.value]).toEqual([true, 'packet']);
  const columns = { record: Float64Array.of(2, 5, 7, 9), type: Uint8Array.of(SEND, FIRE, SEND, SEND) };
  const found = { of: 'packet', packet: 1n, columns } as unknown as Found;
  const reached: unknown[] = [];
  for (let i = 0; i < 4; ++i) {
    explorer.causes.found.value = found;
    command.run();
    reached.push(explorer.selection.selected.value);
    await settled(explorer);
  }
  expect(reached).toEqual([{ record: 2 }, { record: 7 }, { record: 9 }, { record: 2 }]);
});

test('Where no packets are noted there is no way to follow', async () => {
  const { explorer, command } = await along();
  explorer.selection.selectPiece({ pe: [1, 0] });
  expect(command.can?.()).toBe(false);
  explorer.trace.head.value = { ...explorer.trace.head.value!, attributes: [{ name: 'packet', type: 'number' }] };
  expect(command.can?.()).toBe(true);
});

test('The scale of link load ends at the fullest link where that is asked for, also in the link of the view', async () => {
  const { explorer } = await openSmall({
    links: () => ({ head: { highest: 0.43, end: 0.5 }, columns: Object.fromEntries(['right', 'left', 'up', 'down', 'passes'].map((name) => [name, new Float64Array(4)])) }),
  });
  const command = floorplanCommands(explorer, { zoom: () => undefined, focus: () => undefined }).find(({ id }) => id === 'layer.linkScale')!;
  explorer.view.linkLoad.value = true;
  await settled(explorer);
  expect(explorer.layers.loadEnd).toBe(0.5);
  command.run();
  expect(explorer.layers.loadEnd).toBe(0.43);
  expect(viewFields(explorer).layers).toContain('f');
  command.run();
  expect(explorer.layers.loadEnd).toBe(0.5);
});
