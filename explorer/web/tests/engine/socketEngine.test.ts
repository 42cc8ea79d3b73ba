import { afterEach, beforeEach, expect, test, vi } from 'vitest';

import { SocketEngine } from '../../src/engine/socketEngine';
import { writeAnswer } from '../../src/protocol/answer';

/** A socket that is opened, answered and closed by the test. */
class TestSocket {
  static readonly OPEN = 1;
  static all: TestSocket[] = [];
  readyState = 0;
  binaryType = '';
  sent: { number: number; text: string }[] = [];
  onopen: () => void = () => undefined;
  onclose: () => void = () => undefined;
  onmessage: (message: { data: unknown }) => void = () => undefined;

  constructor(readonly address: URL) {
    TestSocket.all.push(this);
  }

  send(bytes: ArrayBuffer): void {
    const number = new DataView(bytes).getUint32(0, true);
    this.sent.push({ number, text: new TextDecoder().decode(bytes.slice(8)) });
  }

  open(): void {
    this.readyState = TestSocket.OPEN;
    this.onopen();
  }

  close(): void {
    this.readyState = 3;
    this.onclose();
  }

  answer(number: number, head: object): void {
    const answer = new Uint8Array(writeAnswer({ ...head }, {}));
    const bytes = new Uint8Array(8 + answer.length);
    new DataView(bytes.buffer).setUint32(0, number, true);
    bytes.set(answer, 8);
    this.onmessage({ data: bytes.buffer });
  }
}

const last = (): TestSocket => TestSocket.all[TestSocket.all.length - 1]!;
const outcome = (promise: Promise<unknown>) =>
  promise.then(() => 'answered').catch((error: { code?: string }) => error.code ?? String(error));

beforeEach(() => {
  TestSocket.all = [];
  vi.stubGlobal('WebSocket', TestSocket);
  vi.useFakeTimers();
});
afterEach(() => {
  vi.useRealTimers();
  vi.unstubAllGlobals();
});

const open = () => {
  const engine = new SocketEngine('http://127.0.0.1:8120/');
  last().open();
  return engine;
};

test('The socket is asked for where the page comes from', () => {
  open();
  expect(String(last().address)).toBe('ws://127.0.0.1:8120/api/socket');
});

test('Answers find their questions in any order', async () => {
  const engine = open();
  const one = engine.ask('t', 'count', { filter: {}, shape: {} as never });
  const two = engine.ask('t', 'count', { filter: {}, shape: {} as never });
  const [first, second] = last().sent;
  last().answer(second!.number, { count: 2 });
  last().answer(first!.number, { count: 1 });
  expect([(await one).head.count, (await two).head.count]).toEqual([1, 2]);
});

test('At most four questions are in work; the next one is sent when one is answered', async () => {
  const engine = open();
  const asked = Array.from({ length: 6 }, () => engine.ask('t', 'trace', {}));
  expect(last().sent.length).toBe(4);
  expect(engine.inFlight.value).toBe(6);
  last().answer(last().sent[0]!.number, { records: 1 });
  expect(last().sent.length).toBe(5);
  await asked[0];
});

test('A question that nobody waits for is taken back, and was never sent if it waited', async () => {
  const engine = open();
  const stop = new AbortController();
  const first = outcome(engine.ask('t', 'trace', {}, { signal: stop.signal }));
  Array.from({ length: 3 }, () => void outcome(engine.ask('t', 'trace', {})));
  const later = new AbortController();
  const waiting = outcome(engine.ask('t', 'trace', {}, { signal: later.signal }));
  later.abort();
  stop.abort();
  expect(await first).toBe('cancelled');
  expect(await waiting).toBe('cancelled');
  expect(last().sent.filter(({ text }) => text === '').length).toBe(1);
});

test('A lost connection fails what is in work and is tried again, ever later', async () => {
  const engine = open();
  const asked = outcome(engine.ask('t', 'trace', {}));
  last().close();
  expect(await asked).toBe('lost');
  expect(engine.connection.value.state).toBe('lost');
  expect(await outcome(engine.ask('t', 'trace', {}))).toBe('lost');
  expect(TestSocket.all.length).toBe(1);
  vi.advanceTimersByTime(500);
  expect(TestSocket.all.length).toBe(2);
  last().close();
  vi.advanceTimersByTime(900);
  expect(TestSocket.all.length).toBe(2);
  vi.advanceTimersByTime(100);
  expect(TestSocket.all.length).toBe(3);
  last().open();
  expect(engine.connection.value.state).toBe('connected');
});

test('To try at once does not wait', () => {
  const engine = open();
  last().close();
  engine.retry();
  expect(TestSocket.all.length).toBe(2);
});

test('A socket that was given up says nothing any more', () => {
  const engine = open();
  const old = last();
  old.close();
  engine.retry();
  last().open();
  old.close();
  expect(engine.connection.value.state).toBe('connected');
});

test('News are told, and what is no news is not', () => {
  const engine = open();
  const heard: string[] = [];
  engine.onNews((news) => heard.push(news.news));
  for (const data of ['{"news":"grown","trace":"t"}', '{"news":"weather"}', 'not json', '7']) {
    last().onmessage({ data });
  }
  expect(heard).toEqual(['grown']);
});

test('An answer that lacks a column is no answer', async () => {
  const engine = open();
  const asked = outcome(engine.ask('t', 'heat', { first: '0', last: '1', shape: {} as never, what: 'fires' }));
  last().answer(last().sent[0]!.number, {});
  expect(await asked).toBe('bad-answer');
  expect(engine.log[0]?.code).toBe('bad-answer');
});
