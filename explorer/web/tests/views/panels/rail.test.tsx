// @vitest-environment happy-dom
import { expect, test, vi } from 'vitest';

import type { FloorplanController } from '../../../src/views/floorplan/controller';
import { usePage } from '../../../src/views/context';
import { Rail } from '../../../src/views/rail/Rail';
import { show } from '../../fixtures/pageInDom';

const View = () => <Rail controller={usePage().floorplan as FloorplanController} />;
const LOADS = Object.fromEntries(['right', 'left', 'up', 'down', 'passes'].map((name) => [name, new Float64Array(4)]));
const links = () => ({
  head: {
    mesh: { columns: 2, rows: 2, of: 'elements' },
    unit: 'messages a cycle',
    highest: 0.43,
    end: 0.5,
    links: 8,
    fullest: [{ node: [0, 0], heading: 'right', load: 0.43 }],
    histogram: [7, 1],
  },
  columns: LOADS,
});

test('The rail offers what the trace can tell, and no more', async () => {
  const { control, words } = await show(View);
  expect(control('Thread').getAttribute('aria-checked')).toBe('true');
  expect(() => control('Kind')).toThrow();
  expect(() => control('Switches')).toThrow(); // one cluster has none
  expect(words()).toContain('Threads, last fire on a PE');
  const noted = await show(View, {}, { attributes: [{ name: 'kind', type: 'name' }] });
  expect(noted.control('Kind').getAttribute('aria-checked')).toBe('false');
});

test('A layer that is switched on is shown and explained', async () => {
  const { press, control, words, page } = await show(View, { links });
  page.explorer.panels.width.value = 'wide';
  await press('Link load');
  expect(control('Link load').getAttribute('aria-checked')).toBe('true');
  await vi.waitFor(() => expect(words()).toContain('Link load, cycles 0–990'));
  expect(words()).toContain('50 %');
  expect(words()).toContain('0,0 → 1,0');
  page.commands.run('layer.linkScale');
  await vi.waitFor(() => expect(words()).not.toContain('50 %'));
});

test('The thread whose row is pointed at is lit, and none once the pointer leaves', async () => {
  const { root, after, page } = await show(View);
  const row = root.querySelectorAll('.legend-row')[1]!;
  await after(() => row.dispatchEvent(new Event('pointerenter')));
  expect(page.explorer.view.litThread.value).toBe(1);
  await after(() => row.dispatchEvent(new Event('pointerleave')));
  expect(page.explorer.view.litThread.value).toBeUndefined();
});

test('The viewer reading starts where it is told, and stays where what is told is no number', async () => {
  const { root, after, page } = await show(View);
  page.explorer.panels.width.value = 'wide';
  await after(() => (page.explorer.view.reading.value = 'viewer'));
  const field = await vi.waitFor(() => {
    const found = root.querySelector<HTMLInputElement>('input[inputmode=numeric]');
    expect(found).not.toBeNull();
    return found!;
  });
  const tell = (text: string) =>
    after(() => {
      field.value = text;
      field.dispatchEvent(new Event('change', { bubbles: true }));
    });
  await tell('1,200');
  expect(page.explorer.view.skipTo.value).toBe(1200n);
  for (const text of ['soon', '-3', '', '1'.repeat(19)]) {
    await tell(text);
    expect(page.explorer.view.skipTo.value).toBe(1200n);
    expect(field.value).toBe('1200');
  }
});
