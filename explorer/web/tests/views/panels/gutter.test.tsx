// @vitest-environment happy-dom
import { expect, test } from 'vitest';

import { usePage } from '../../../src/views/context';
import { Gutter } from '../../../src/views/timeline/Gutter';
import { TimelineScene } from '../../../src/views/timeline/scene';
import { show } from '../../fixtures/pageInDom';

let scene: TimelineScene;

function View() {
  const page = usePage();
  scene ??= new TimelineScene(page);
  return <Gutter scene={scene} />;
}

async function gutter(head: object = {}) {
  scene = undefined as unknown as TimelineScene;
  const shown = await show(View, {}, head);
  await shown.after(() => (scene.size.value = { width: 800, height: 250, ratio: 1, rem: 16 }));
  return shown;
}

test('The gutter names the strips of the trace, and the ruler counts what is chosen', async () => {
  const { words, press, page } = await gutter();
  expect(words()).toContain('Whole run0–990');
  expect(words()).not.toContain('Messages');
  await press('Cycle');
  expect(page.explorer.time.unit.value).toBe('step');
  expect(words()).toContain('Step');
});

test('A lane selects its piece, and its pin lets it go', async () => {
  const { after, press, words, page } = await gutter();
  await after(() => page.explorer.time.pin({ piece: { pe: [1, 0] } }));
  await press('PE 1,0');
  expect(page.explorer.selection.piece.value).toEqual({ pe: [1, 0] });
  await press('Unpin PE 1,0');
  expect(page.explorer.time.lanes.value).toEqual([]);
  expect(words()).not.toContain('PE 1,0');
});

test('Counters are offered where the companion has some, by the search box', async () => {
  const { press, page } = await gutter({ counters: [{ name: 'queue', places: 4 }] });
  await press('Add a counter as a lane');
  expect(page.explorer.panels.searchWish.value).toEqual({ text: 'counter ' });
  const without = await gutter();
  expect(() => without.control('Add a counter as a lane')).toThrow();
});
