// @vitest-environment happy-dom
import { expect, test, vi } from 'vitest';

import type { Answering } from '../../../src/engine/fakeEngine';
import { Events } from '../../../src/views/events/Events';
import { show, type Shown } from '../../fixtures/pageInDom';

const ANSWERS: Answering = {
  count: ({ filter, before }) => ({ head: { count: filter.cycles === undefined ? 3 : 0, exact: true, ...(before === undefined ? {} : { before: 0 }) } }),
  hits: () => ({ head: { last: '990' }, columns: { first: BigUint64Array.of(0n), hit: Uint8Array.of(1) } }),
  events: ({ count }) => {
    const n = Math.min(count, 3);
    const list = <T,>(of: (i: number) => T) => Array.from({ length: n }, (_, i) => of(i));
    return {
      head: { more: false, next: null },
      columns: {
        record: Float64Array.from(list((i) => 10 * i)),
        cycle: BigUint64Array.from(list((i) => BigInt(100 * i))),
        thread: Uint32Array.from(list(() => 1)),
        type: Uint8Array.from(list(() => 4)),
        at: Uint32Array.from(list(() => [1, 0]).flat()),
        to: Uint32Array.from(list(() => [0, 1]).flat()),
        'note.kind': BigUint64Array.from(list(() => 3n)),
        'has.kind': Uint8Array.from(list((i) => i % 2)),
      },
    };
  },
};
const NOTED = { attributes: [{ name: 'kind', type: 'name', names: { 3: 'wait' } }] };

async function type({ control, after }: Shown, text: string): Promise<void> {
  const input = control('Filter events') as HTMLInputElement;
  await after(() => {
    input.value = text;
    input.dispatchEvent(new Event('input'));
  });
  await after(() => new Promise((resolve) => setTimeout(resolve, 150))); // until a pause in typing
}

test('The list counts what a filter lets through, and that is what is marked on the overview', async () => {
  const shown = await show(Events, ANSWERS, NOTED);
  await vi.waitFor(() => expect(shown.words()).toContain('100 records'));
  await type(shown, 'thread:0,2-5');
  await vi.waitFor(() => expect(shown.words()).toContain('3 of 100 records match'));
  expect(shown.page.explorer.time.found.value).toEqual({ threads: [[0, 0], [2, 5]] });
});

test('A word that is not known offers the nearest, which takes its place', async () => {
  const shown = await show(Events, ANSWERS, NOTED);
  await type(shown, 'tread:3 fire');
  expect(shown.words()).toContain('I do not know tread. Do you mean thread?');
  await shown.press('thread:3');
  expect(shown.page.explorer.panels.filter.value).toBe('thread:3 fire');
});

test('Where nothing matches, the word that stands in the way can be left out', async () => {
  const shown = await show(Events, ANSWERS, NOTED);
  await type(shown, 'fire cycle>=5000');
  await vi.waitFor(() => expect(shown.words()).toContain('No record matches.'));
  await vi.waitFor(() => expect(shown.words()).toContain('to get 3.'));
  await shown.press('cycle>=5000');
  expect(shown.page.explorer.panels.filter.value).toBe('fire');
});

test('Notes have a column where there are notes', async () => {
  const headsOf = async (head: object) => {
    const { root, words } = await show(Events, ANSWERS, head);
    await vi.waitFor(() => expect(words()).toContain('Record'));
    return [...root.querySelectorAll('[role=columnheader]')].map((name) => name.textContent);
  };
  expect(await headsOf(NOTED)).toContain('Notes');
  expect(await headsOf({})).not.toContain('Notes');
});
