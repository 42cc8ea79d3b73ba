import { afterEach, beforeEach, expect, test, vi } from 'vitest';

import { broken, failed, grown, indexing, lost, newBuild, refused, replaced } from '../../src/model/alertWords';
import type { Alert } from '../../src/model/alerts';
import { AskError } from '../../src/protocol/fault';
import { ANSWERING, openSmall, settled, STATUS } from '../fixtures/smallTrace';

const words = (alert: Alert | undefined): string =>
  (alert?.parts ?? [])
    .map((part) => (typeof part === 'string' ? part : 'strong' in part ? `**${part.strong}**` : `\`${part.code}\``))
    .join('');

const nothing = () => undefined;

test('Alerts have the words that were agreed on', () => {
  expect(words(indexing({ share: 0.384, secondsLeft: 4, lastStep: 1999 }))).toBe(
    '**Reading the trace: 38 %**, about 4 s left. You can look at steps 0 to 1,999 now.',
  );
  expect(words(lost(14, 4, { command: 'marrowfin-explorer stencil.trace --port 8120', sameLink: true }, nothing))).toBe(
    '**The server has not answered for 14 s.** The picture stays as it was. Next try in 4 s. If it has ended, start it again: `marrowfin-explorer stencil.trace --port 8120`',
  );
  expect(words(lost(14, 4, { command: 'marrowfin-explorer a.trace', sameLink: false }, nothing))).toContain(
    'If it has ended, start it again and open the link that it prints: `marrowfin-explorer a.trace`',
  );
  expect(words(replaced(new Date(2026, 1, 3, 14, 2), false, nothing))).toBe(
    '**This is another trace now.** The file changed at 14:02. Your view is kept in the link.',
  );
  expect(words(grown(12400, nothing))).toBe('**The trace has grown by 12,400 records.**');
  expect(words(newBuild(nothing))).toBe('**The server is newer than this page.**');
  expect(words(refused())).toBe('**That is too much at once.** Choose a shorter range.');
  const end = { kind: 'cut-record', message: 'the trace ends after 15 of the 20 bytes of a header', record: 313204, offset: 9899992 };
  expect(words(broken(end, nothing))).toBe(
    '**The trace ends in the middle of record 313,204.** At byte 9,899,992, 15 of the 20 bytes of a header are there. You see everything before it. Run the simulator to its end to see the rest.',
  );
  const other = { kind: 'unknown-type', message: 'type 7 is none of 2, 3 and 4', record: 5, offset: 140, remedy: 'check that this is a trace' };
  expect(words(broken(other, nothing))).toBe(
    '**The trace breaks off at record 5.** At byte 140, type 7 is none of 2, 3 and 4. You see everything before it. Check that this is a trace.',
  );
});

test('What nobody expects is told in the words of the engine', () => {
  const error = new AskError({ code: 'unreadable', message: 'cannot read', file: 'a.trace', remedy: 'name another' });
  expect(words(failed(error))).toBe('**Cannot read (a.trace).** Name another.');
});

test('The gravest alert is shown, and the next one when it is settled', async () => {
  const { explorer } = await openSmall();
  explorer.alerts.raise(refused());
  explorer.alerts.raise(newBuild(nothing));
  expect(explorer.alerts.shown.value?.id).toBe('new-build');
  explorer.alerts.settle('new-build');
  expect(explorer.alerts.shown.value?.id).toBe('refused');
});

test('Another build of the server asks for a reload', async () => {
  const { engine, explorer } = await openSmall();
  let reloads = 0;
  explorer.watch.reload = () => (reloads += 1);
  engine.readyStatus = { ...STATUS, build: 'two' };
  engine.connection.value = { state: 'lost', since: 0, nextTry: 0 };
  engine.connection.value = { state: 'connected' };
  await settled(explorer);
  explorer.alerts.shown.value?.action?.run();
  expect(reloads).toBe(1);
});

test('A trace that was replaced is told, and the new one can be opened', async () => {
  const { engine, explorer } = await openSmall();
  engine.tell({ news: 'changed', trace: 'small' });
  expect(explorer.alerts.shown.value?.id).toBe('replaced');
  engine.readyStatus = { ...STATUS, traces: [{ ...STATUS.traces[0]!, fingerprint: 'other' }] };
  explorer.alerts.shown.value?.action?.run();
  await settled(explorer);
  expect(explorer.trace.fingerprint.value).toBe('other');
  expect(explorer.alerts.shown.value).toBeUndefined();
});

test('A file that was written anew with as much in it is opened by itself', async () => {
  const { engine, explorer } = await openSmall();
  explorer.time.range.value = { first: 10n, last: 20n };
  const before = engine.readyStatus.traces[0]!;
  engine.readyStatus = { ...STATUS, traces: [{ ...before, fingerprint: 'anew', was: [before.fingerprint] }] };
  engine.tell({ news: 'changed', trace: 'small' });
  await settled(explorer);
  await settled(explorer);
  expect(explorer.trace.fingerprint.value).toBe('anew');
  expect(explorer.panels.notice.value).toContain('written anew');
  expect(explorer.alerts.shown.value).toBeUndefined();
  expect(explorer.time.range.value).toEqual({ first: 10n, last: 20n });
});

test('A file with other records in it is told and not opened', async () => {
  const { engine, explorer } = await openSmall();
  const before = engine.readyStatus.traces[0]!;
  engine.readyStatus = { ...STATUS, traces: [{ ...before, fingerprint: 'other', was: [before.fingerprint], records: before.records + 1 }] };
  engine.tell({ news: 'changed', trace: 'small' });
  await settled(explorer);
  expect(explorer.trace.fingerprint.value).toBe('small');
  expect(explorer.alerts.shown.value?.id).toBe('replaced');
});

test('A moment that could not be had while the index was made anew is shown then', async () => {
  let whole = false;
  const { engine, explorer } = await openSmall({
    state: (question, trace) => {
      if (!whole) {
        throw new AskError({ code: 'not-indexed-yet', message: 'ask again' });
      }
      return ANSWERING.state!(question, trace);
    },
  });
  expect(explorer.playback.picture.value).toBeUndefined();
  whole = true;
  engine.tell({ news: 'indexed', trace: explorer.trace.fingerprint.value });
  await vi.waitFor(() => expect(explorer.playback.picture.value).toBeDefined());
});

test('News about another trace says nothing about this one', async () => {
  const { engine, explorer } = await openSmall();
  engine.tell({ news: 'changed', trace: 'another' });
  expect(explorer.alerts.shown.value).toBeUndefined();
});

beforeEach(() => void vi.useFakeTimers({ toFake: ['setInterval', 'clearInterval', 'Date'] }));
afterEach(() => void vi.useRealTimers());

test('A lost server is told with the time, and forgotten when it is back', async () => {
  const { engine, explorer } = await openSmall();
  const now = Date.now();
  engine.connection.value = { state: 'lost', since: now, nextTry: now + 18_000 };
  vi.advanceTimersByTime(14_000);
  expect(words(explorer.alerts.shown.value)).toBe(
    '**The server has not answered for 14 s.** The picture stays as it was. Next try in 4 s. If it has ended, start it again: `marrowfin-explorer small.trace -c 2 --port 8120`',
  );
  explorer.alerts.shown.value?.action?.run();
  expect(engine.retries).toBe(1);
  engine.connection.value = { state: 'connected' };
  expect(explorer.alerts.shown.value).toBeUndefined();
});
