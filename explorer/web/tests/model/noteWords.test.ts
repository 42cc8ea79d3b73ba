import { expect, test } from 'vitest';

import { companionWords, notesIn, notesLine } from '../../src/model/noteWords';
import type { TraceHead } from '../../src/protocol/answers';

const head = (more: Partial<TraceHead>): TraceHead => ({ name: 'a.trace', about: null, attributes: [], ...more }) as TraceHead;

test('Notes are told in a line, the kind first and numbers with commas', () => {
  expect(notesLine({ packet: '16538', kind: 'read', who: 'a b' })).toBe('read, packet 16,538, who a b');
  expect(notesLine({})).toBe('');
});

test('Notes of an event are those that it has, by name where values have names', () => {
  const columns = {
    'has.kind': Uint8Array.of(1, 0),
    'note.kind': BigUint64Array.of(3n, 0n),
    'has.energy': Uint8Array.of(1, 1),
    'note.energy': Float64Array.of(1.5, 2),
  };
  const attributes = [{ name: 'kind', type: 'name', names: { 3: 'wait' } }, { name: 'energy', type: 'real' }, { name: 'far', type: 'number' }];
  expect(notesIn(columns, 0, attributes)).toEqual([['kind', 'wait'], ['energy', '1.5']]);
  expect(notesIn(columns, 1, attributes)).toEqual([['energy', '2']]);
});

test('A trace without a companion says what is not shown', () => {
  expect(companionWords(head({}))).toEqual(['Kinds and counters are not shown: there is no a.trace.about beside the trace.']);
  expect(companionWords(head({ about: {} }))).toEqual([]);
});

test('A companion that is not believed says why, and notes that end early where', () => {
  const fault = { kind: 'other-trace', message: 'it is of another trace', remedy: 'record it again' };
  expect(companionWords(head({ companionFault: fault as NonNullable<TraceHead['companionFault']> }))).toEqual([
    'It is of another trace. Record it again.',
  ]);
  const notesEnd = { record: 1234, message: 'the notes end before the trace', remedy: 'whoever records them was stopped' };
  expect(companionWords(head({ about: {}, notesEnd }))).toEqual([
    'The notes end before the trace: records from 1,234 on have none. Whoever records them was stopped.',
  ]);
});
