import { expect, test } from 'vitest';

import { readFields, writeFields, type ViewFields } from '../../src/model/url';
import { applyHash, viewHash } from '../../src/model/viewLink';
import { openSmall, settled } from '../fixtures/smallTrace';

const ALL: ViewFields = {
  trace: 'a b.trace',
  reading: 'viewer',
  skip: 12n,
  cycle: 2n ** 63n,
  step: 1840,
  colour: 'heat',
  heat: 'receives',
  layers: 'ml',
  flat: true,
  camera: { zoom: 1.5, x: 10.25, y: 3 },
  range: { first: 1800n, last: 1842n },
  window: { first: 0n, last: 2n ** 64n - 1n },
  lanes: [{ piece: { pe: [10, 20] } }, { counter: 'queue; of 3,4' }, { counter: 'queue', place: [3, 4] }],
  why: 'forward',
  by: 'kind',
  ruler: 'step',
  select: { link: [3, 2, 'up'] },
  rect: { first: { column: 1, row: 2 }, last: { column: 3, row: 4 } },
  record: 5124,
  panel: 'events',
  filter: 'send thread:1 cycle>=40 & more',
  marks: [{ name: 'sweep: 3; & more', cycle: 1932n, piece: { pe: [1, 2] } }, { name: 'plain', cycle: 5n }],
  speed: -20,
  loop: true,
};

test('What is written into an address is read from it', () => {
  expect(readFields(`#${writeFields(ALL)}`)).toEqual(ALL);
});

test('A field that nobody understands is dropped alone', () => {
  const bad = 'reading=sideways&cycle=12x&step=7&camera=1,2&range=9-3&select=pe:1&speed=1e9&colour=heat&new=1&layers=xyz&rect=3,3..1,1&panel=all&record=x';
  expect(readFields(bad)).toEqual({ step: 7, colour: 'heat' });
  expect(readFields('cycle=99999999999999999999&select=link:1,2&marks=%25')).toEqual({});
});

test('A link brings back the whole view', async () => {
  const one = await openSmall();
  const { explorer } = one;
  await explorer.pilot.goToCycle(420n);
  explorer.view.colourBy.value = 'heat';
  explorer.view.messages.value = false;
  explorer.view.camera.value = { zoom: 2, x: 1, y: 1 };
  explorer.time.range.value = { first: 100n, last: 200n };
  explorer.time.view.value = { start: 50n, fraction: 0, span: 400 };
  explorer.selection.selectPiece({ pe: [1, 0] });
  explorer.marks.add({ name: 'here', cycle: 7n });
  explorer.panels.dock.value = 'events';
  explorer.panels.filter.value = 'fire thread:1';
  explorer.time.activityBy.value = 'type';
  await settled(explorer);
  const hash = viewHash(explorer);

  const other = await openSmall();
  applyHash(other.explorer, hash);
  other.explorer.pilot.turnTo('natural');
  await settled(other.explorer);
  expect(viewHash(other.explorer)).toBe(hash);
  expect(other.explorer.playback.picture.value?.step).toBe(42);
});

test('Rectangles and events that are selected are part of a link', async () => {
  const one = await openSmall();
  for (const selected of [{ record: 17 }, { rect: { first: { column: 0, row: 0 }, last: { column: 1, row: 0 } } }]) {
    one.explorer.selection.selected.value = selected;
    const other = await openSmall();
    applyHash(other.explorer, viewHash(one.explorer));
    expect(other.explorer.selection.selected.value).toEqual(selected);
  }
});

test('A view as it is at first needs no words but the moment', async () => {
  const { explorer } = await openSmall();
  expect(viewHash(explorer)).toBe('#cycle=0');
});

test('A link to a step of the viewer is followed also where the other reading is shown', async () => {
  const { explorer } = await openSmall();
  applyHash(explorer, '#reading=viewer&step=31');
  explorer.pilot.turnTo('viewer');
  await settled(explorer);
  expect(explorer.playback.picture.value).toMatchObject({ reading: 'viewer', step: 31 });
});

test('A link to a cycle is followed in the reading of the viewer', async () => {
  const { explorer } = await openSmall();
  applyHash(explorer, '#reading=viewer&cycle=250');
  explorer.pilot.turnTo('viewer');
  await settled(explorer);
  expect(explorer.playback.picture.value).toMatchObject({ reading: 'viewer', step: 25, cycle: 250n });
});
