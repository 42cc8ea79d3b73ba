// @vitest-environment happy-dom
import { expect, test } from 'vitest';

import { AlertBar } from '../../../src/views/alert/AlertBar';
import { broken, lost } from '../../../src/model/alertWords';
import { StatusBar } from '../../../src/views/status/StatusBar';
import { Transport } from '../../../src/views/transport/Transport';
import { show } from '../../fixtures/pageInDom';

test('The transport tells step and cycle, and its buttons move by them', async () => {
  const { words, press, page } = await show(Transport);
  expect(words()).toContain('step 0of 99cycle 0');
  await press(/^Step forward/);
  expect(words()).toContain('step 1of 99cycle 10');
  await press(/^Last step/);
  expect(page.explorer.playback.now.value.step).toBe(99);
});

test('The transport plays as fast as is chosen, and tells the range until it is cleared', async () => {
  const { control, press, after, words, page } = await show(Transport);
  const speeds = control(/a second/) as HTMLSelectElement;
  await after(() => {
    speeds.value = '-60';
    speeds.dispatchEvent(new Event('change'));
  });
  expect(page.explorer.playback.speed.value).toBe(-60);
  await after(() => (page.explorer.time.range.value = { first: 10n, last: 1009n }));
  expect(words()).toContain('range 10–1,0091,000 cycles');
  await press('Clear the range');
  expect(words()).toContain('no range');
});

test('The status bar tells what is pointed at, and how far the index is', async () => {
  const { words, after, page } = await show(StatusBar);
  expect(words()).toContain('Index complete');
  await after(() => (page.explorer.selection.hovered.value = { pe: [1, 0] }));
  expect(words()).toMatch(/Pointer: PE 1,0/);
});

test('Alerts are shown one at a time, the gravest first, with what can be done', async () => {
  const { root, words, press, after, page } = await show(AlertBar);
  expect(words()).toBe('');
  let tried = 0;
  const end = { kind: 'cut-record', message: 'the trace ends after 15 of the 20 bytes of a header', file: 'a', place: '', remedy: '', record: 7, offset: 140 };
  await after(() => {
    page.explorer.alerts.raise(broken(end, () => undefined));
    page.explorer.alerts.raise(lost(14, 4, { command: 'marrowfin-explorer a.trace', sameLink: true }, () => ++tried));
  });
  expect(root.querySelector('[role=alert]')?.textContent).toContain('The server has not answered for 14 s.');
  expect(root.querySelector('code')?.textContent).toBe('marrowfin-explorer a.trace');
  await press('Try now');
  expect(tried).toBe(1);
  await after(() => page.explorer.alerts.settle('lost'));
  expect(words()).toContain('The trace ends in the middle of record 7.');
  await press('Close');
  expect(words()).toBe('');
});
