import { expect, test } from 'vitest';

import { Site, type KeptMarks as Kept, type SentMark } from '../../src/engine/site';
import { KeptMarks } from '../../src/model/keptMarks';
import { openSmall } from '../fixtures/smallTrace';

const later = () => new Promise((resolve) => setTimeout(resolve, 0));

/** A server that keeps marks of one trace. */
class Keeper {
  kept: Kept = { state: '', marks: [] };
  posts = 0;

  readonly fetch = (async (address: string, options?: RequestInit) => {
    if (options?.method === 'POST') {
      const sent = JSON.parse(String(options.body)) as { over: string; marks: SentMark[] };
      if (sent.over !== this.kept.state) {
        return new Response('others have saved marks meanwhile\n', { status: 409 });
      }
      this.posts += 1;
      this.kept = { state: `state ${this.posts}`, marks: sent.marks };
    }
    expect(address).toContain('api/marks?trace=');
    return new Response(JSON.stringify(this.kept));
  }) as unknown as typeof fetch;
}

async function open(keeper: Keeper) {
  const { explorer } = await openSmall();
  const kept = new KeptMarks(explorer, new Site('http://127.0.0.1:8120/', keeper.fetch));
  kept.follow();
  await later();
  await later();
  return { explorer, kept };
}

const SAVED = { name: 'saved', cycle: '50', piece: { pe: [1, 0] } };

test('What is kept beside the trace is there when it is opened, and nothing is written', async () => {
  const keeper = new Keeper();
  keeper.kept = { state: 'a', marks: [SAVED] };
  const { explorer } = await open(keeper);
  expect(explorer.marks.marks.value).toEqual([{ name: 'saved', cycle: 50n, piece: { pe: [1, 0] } }]);
  expect(explorer.marks.isUnsaved.value).toBe(false);
  explorer.marks.add({ name: 'own', cycle: 20n });
  expect(explorer.marks.isUnsaved.value).toBe(true);
  await later();
  expect(keeper.posts).toBe(0);
});

test('Marks of a link stay, and one that is kept under the same name gets another', async () => {
  const keeper = new Keeper();
  keeper.kept = { state: 'a', marks: [SAVED] };
  const { explorer } = await open(keeper);
  explorer.marks.open([{ name: 'saved', cycle: 10n }]);
  expect(explorer.marks.marks.value.map(({ name, cycle }) => [name, cycle])).toEqual([
    ['saved', 10n],
    ['mark 2', 50n],
  ]);
});

test('All marks are saved when that is asked for', async () => {
  const keeper = new Keeper();
  const { explorer, kept } = await open(keeper);
  explorer.marks.add({ name: 'own', cycle: 2n ** 64n - 1n });
  await kept.save();
  expect(keeper.kept.marks).toEqual([{ name: 'own', cycle: '18446744073709551615' }]);
  expect(explorer.marks.isUnsaved.value).toBe(false);
  expect(kept.trouble.value).toBe('');
});

test('Marks that others have saved meanwhile are shown before anything is written over them', async () => {
  const keeper = new Keeper();
  const { explorer, kept } = await open(keeper);
  explorer.marks.add({ name: 'own', cycle: 7n });
  keeper.kept = { state: 'of others', marks: [SAVED] };
  await kept.save();
  expect(keeper.posts).toBe(0);
  expect(kept.trouble.value).toContain('Others have saved marks meanwhile.');
  expect(explorer.marks.marks.value.map(({ name }) => name)).toEqual(['own', 'saved']);
  await kept.save();
  expect(keeper.kept.marks.map(({ name }) => name)).toEqual(['own', 'saved']);
});

test('Why marks cannot be kept is told in the words of the server', async () => {
  const refused = (async () => new Response('run.trace.marks: it is none of marks\n', { status: 422 })) as unknown as typeof fetch;
  const { explorer } = await openSmall();
  const kept = new KeptMarks(explorer, new Site('http://127.0.0.1:8120/', refused));
  kept.follow();
  await later();
  await later();
  expect(kept.trouble.value).toBe('run.trace.marks: it is none of marks');
});
