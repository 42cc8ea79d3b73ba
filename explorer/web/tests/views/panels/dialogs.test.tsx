// @vitest-environment happy-dom
import { expect, test, vi } from 'vitest';

import { Dialogs } from '../../../src/views/dialogs/Dialogs';
import { TopBar } from '../../../src/views/topbar/TopBar';
import { KEY_GROUPS } from '../../../src/commands/keyTable';
import { show, type Shown } from '../../fixtures/pageInDom';

const SEARCH = { search: () => ({ head: { places: [], threads: [{ thread: 2, name: 'sweeper', records: 33 }], kinds: [] } }) };

async function write({ root, after }: Shown, text: string): Promise<void> {
  const input = root.querySelector('input')!;
  await after(() => {
    input.value = text;
    input.dispatchEvent(new Event('input'));
  });
}

const key = (shown: Shown, name: string) =>
  shown.after(() => shown.root.querySelector('input')!.dispatchEvent(new KeyboardEvent('keydown', { key: name, bubbles: true, cancelable: true })));

test('All keys stand in the list, and it closes', async () => {
  const { words, press, after, page } = await show(Dialogs);
  expect(words()).toBe('');
  await after(() => page.commands.run('find.keys'));
  for (const { name } of KEY_GROUPS) {
    expect(words()).toContain(name);
  }
  await press('Close');
  expect(words()).toBe('');
});

test('Marks are made, renamed, gone to and removed', async () => {
  const { control, press, after, words, page } = await show(Dialogs);
  page.explorer.pilot.goTo({ step: 4, cycle: 40n });
  await after(() => (page.explorer.panels.dialog.value = 'marks'));
  expect(words()).toContain('No moment is marked yet.');
  await press('Mark cycle 40');
  const name = control('Name of the mark') as HTMLInputElement;
  await after(() => {
    name.value = 'sweep 3';
    name.dispatchEvent(new Event('change'));
  });
  expect(page.explorer.marks.marks.value).toEqual([{ name: 'sweep 3', cycle: 40n }]);
  page.explorer.pilot.goTo({ step: 9, cycle: 90n });
  await press('Go to sweep 3');
  expect(page.explorer.playback.now.value.cycle).toBe(40n);
  await after(() => (page.explorer.panels.dialog.value = 'marks'));
  await press('Remove sweep 3');
  expect(page.explorer.marks.marks.value).toEqual([]);
});

test('The search box finds places, names that the engine knows, and commands, and Enter runs the chosen', async () => {
  const shown = await show(Dialogs, SEARCH);
  const { words, after, page, root } = shown;
  await after(() => page.commands.run('find.search'));
  await write(shown, 'sweeper');
  await vi.waitFor(() => expect(words()).toContain('33 records'));
  await write(shown, '1,1');
  expect(root.querySelector('[role=option][aria-selected=true]')?.textContent).toContain('PE 1,1');
  await key(shown, 'Enter');
  expect(page.explorer.selection.piece.value).toEqual({ pe: [1, 1] });
  expect(words()).toBe('');
  await after(() => page.commands.run('find.commands'));
  await write(shown, '>link');
  const names = [...root.querySelectorAll('[role=option] b')].map((name) => name.textContent);
  for (const name of ['Show link load', 'Scale link load to the fullest link', 'Copy link to this view']) {
    expect(names).toContain(name);
  }
});

test('The top bar tells which trace is shown, and lets another one be chosen where there are several', async () => {
  const Bar = () => <TopBar Search={() => null} />;
  const { words, root, after, page } = await show(Bar);
  expect(words()).toContain('small.trace');
  expect(words()).toContain('100 records');
  const [one] = page.explorer.trace.all.value;
  await after(() => (page.explorer.trace.all.value = [one!, { ...one!, fingerprint: 'other', name: 'other.trace' }]));
  expect([...root.querySelectorAll('option')].map((option) => option.textContent)).toEqual(['small.trace', 'other.trace']);
});
