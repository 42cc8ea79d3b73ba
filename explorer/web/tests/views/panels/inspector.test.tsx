// @vitest-environment happy-dom
import { expect, test } from 'vitest';

import type { Answering } from '../../../src/engine/fakeEngine';
import { Inspector } from '../../../src/views/inspector/Inspector';
import { show } from '../../fixtures/pageInDom';

const ZERO = { fires: 0, sends: 0, receives: 0, transmissions: 0 };
const ANSWERS: Answering = {
  piece: () => ({
    head: {
      name: 'adder',
      touched: { record: 3, cycle: '30', thread: 1, type: 'fire', at: [1, 0], ago: '20', kind: 'read', notes: { kind: 'read', packet: '16538' } },
      whole: { ...ZERO, fires: 25, average: { ...ZERO, fires: 12.5 } },
      around: [
        { record: 3, cycle: '30', thread: 1, type: 'fire', at: [1, 0], what: 'fires', kind: 'read', notes: { kind: 'read', packet: '16538' } },
        { record: 9, cycle: '90', thread: 2, type: 'send', at: [1, 0], to: [0, 1], what: 'sends' },
      ],
      neighbours: [{ direction: 'to', place: [0, 1], messages: 1234 }],
    },
  }),
  events: () => ({
    head: { more: false, next: null },
    columns: {
      record: Float64Array.of(7),
      cycle: BigUint64Array.of(70n),
      thread: Uint32Array.of(2),
      type: Uint8Array.of(4),
      at: Uint32Array.of(1, 0),
      to: Uint32Array.of(0, 1),
      'note.packet': BigUint64Array.of(500n),
      'has.packet': Uint8Array.of(1),
    },
  }),
};

test('Without a selection the inspector tells of the whole run, and why nothing stands beside it', async () => {
  const { words } = await show(Inspector);
  expect(words()).toContain('Nothing selected');
  expect(words()).toContain('Kinds and counters are not shown: there is no small.trace.about beside the trace.');
});

test('Notes that end early are told, and which events have none for that', async () => {
  const notesEnd = { record: 5, message: 'the notes end before the trace', remedy: 'whoever records them was stopped' };
  const { words, after, page } = await show(Inspector, ANSWERS, { about: {}, notesEnd, attributes: [{ name: 'packet', type: 'number' }] });
  expect(words()).toContain('The notes end before the trace: records from 5 on have none.');
  await after(() => (page.explorer.selection.selected.value = { record: 7 }));
  expect(words()).toContain('Record 7');
  expect(words()).toContain('packet500');
  expect(words()).toContain('Its notes are missing');
});

test('A PE and a switch tell what they do in the range, where there is one', async () => {
  const asked: unknown[] = [];
  const heat: Answering['heat'] = (question) => {
    asked.push([question.what, question.first, question.last]);
    const last = { fires: 70, sends: 71, receives: 72, transmissions: 73, idle: 0 }[question.what];
    const count = question.what === 'transmissions' ? Float64Array.of(last) : Float64Array.of(1, last, 3, 4);
    return { head: { highest: 9, end: 9 }, columns: { count } };
  };
  const { words, after, page } = await show(Inspector, { ...ANSWERS, heat });
  page.inspection.follow();
  await after(() => page.explorer.selection.selectPiece({ pe: [1, 0] }));
  expect(words()).not.toContain('In the range');
  expect(asked).toEqual([]);
  await after(() => (page.explorer.time.range.value = { first: 5n, last: 9n }));
  expect(asked).toEqual([['fires', '5', '9'], ['sends', '5', '9'], ['receives', '5', '9']]);
  expect(words()).toMatch(/In the range, of all ?average PE: 12.5 fires ?Fires ?70 of 25 ?Sends ?71 of 0 ?Receives ?72 of 0/);
  await after(() => page.explorer.selection.selectPiece({ switch: [0, 0] }));
  expect(words()).toMatch(/In the range, of all.*Transmissions ?73 of /);
});

test('The next event of a selected event is that of its PE', async () => {
  const asked: unknown[] = [];
  const when: Answering['when'] = () => ({ head: { record: 1, step: 1, cycle: '1', naturalStep: 1 } });
  const next: Answering['next'] = (question) => {
    asked.push(question.piece);
    return { head: { event: null } };
  };
  const { after, page } = await show(Inspector, { ...ANSWERS, when, next });
  expect(page.commands.canRun('select.nextEvent')).toBe(false);
  await after(() => (page.explorer.selection.selected.value = { record: 7 }));
  await after(() => page.commands.run('select.nextEvent'));
  expect(asked).toEqual([{ pe: [1, 0] }]);
});

test('A PE tells what it shows and why, its run, its neighbours, and the notes of each event around', async () => {
  const { words, root, press, after, page } = await show(Inspector, ANSWERS);
  await after(() => page.explorer.selection.selectPiece({ pe: [1, 0] }));
  expect(words()).toContain('PE 1,0');
  expect(words()).toContain('fired 20 cycles ago');
  expect(words()).toContain('packet16,538');
  expect(words()).toContain('1,234');
  const lines = [...root.querySelectorAll('.event-line')].map((line) => line.textContent?.replace(/\s+/g, ' '));
  expect(lines[0]).toContain('fires read, packet 16,538');
  expect(lines[1]).toContain('sends to 0,1');
  await press(/^Show causes/);
  expect(page.explorer.view.causes.value).toBe(true);
});

test('What the engine refuses to tell is said', async () => {
  const { words, after, page } = await show(Inspector);
  await after(() => page.explorer.selection.selectPiece({ pe: [1, 0] }));
  expect(words()).toMatch(/piece/);
});
