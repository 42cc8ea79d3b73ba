import { expect, test } from 'vitest';

import { readAnswer, writeAnswer } from '../../src/protocol/answer';
import { AskError } from '../../src/protocol/fault';

const columns = {
  small: new Uint8Array([1, 2, 3]),
  cycle: new BigUint64Array([1n, 2n ** 63n]),
  share: new Float64Array([0.5]),
  none: new Uint32Array(),
};

const codeOf = (run: () => unknown): string => {
  try {
    run();
  } catch (error) {
    return error instanceof AskError ? error.code : String(error);
  }
  return 'none';
};

test('An answer is read as it was written', () => {
  const answer = readAnswer(writeAnswer({ steps: 5 }, columns));
  expect(answer.head['steps']).toBe(5);
  expect(answer.columns).toEqual(columns);
});

test('An answer that was cut anywhere is no answer', () => {
  const bytes = writeAnswer({ steps: 5 }, columns);
  const end = bytes.byteLength - 8; // the last column with anything in it ends there
  for (let length = 0; length < end; ++length) {
    expect(codeOf(() => readAnswer(bytes.slice(0, length)))).toBe('bad-answer');
  }
});

test('An answer of another protocol or with an unknown column is no answer', () => {
  for (const [at, value] of [[0, 1], [4, 2], [16, 99], [24, 0x7fffffff]] as const) {
    const bytes = writeAnswer({}, columns);
    new DataView(bytes).setUint32(at, value, true);
    expect(codeOf(() => readAnswer(bytes))).toBe('bad-answer');
  }
});

test('An error is thrown with its code, its words and its remedy', () => {
  const error = { code: 'too-much', message: 'too long', remedy: 'shorter' };
  try {
    readAnswer(writeAnswer({ error }, {}));
    expect.unreachable();
  } catch (thrown) {
    expect(thrown).toMatchObject({ code: 'too-much', message: 'too long', remedy: 'shorter' });
  }
});

test('An error with a code that nobody knows is a bad answer', () => {
  expect(codeOf(() => readAnswer(writeAnswer({ error: { code: 'new' } }, {})))).toBe('bad-answer');
});
