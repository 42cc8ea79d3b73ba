import { effect } from '@preact/signals';
import { afterEach, beforeEach, describe, expect, it, vi } from 'vitest';

import { FakeEngine } from '../../src/engine/fakeEngine';
import { filterOf } from '../../src/model/eventFilter';
import { EventList, PAGE } from '../../src/model/eventList';
import { csvOf, CSV_HEAD } from '../../src/model/eventPage';
import { Explorer } from '../../src/model/explorer';
import type { TraceHead } from '../../src/protocol/answers';
import { AskError } from '../../src/protocol/fault';
import type { Filter } from '../../src/protocol/questions';

const RECORDS = 100_000;
const SHAPE = { clusters: [1, 1], domains: [1, 1], pes: [4, 4] } as const;
const HEAD = {
  records: RECORDS,
  shape: SHAPE,
  firstCycle: '0',
  lastCycle: '9999',
  attributes: [{ name: 'kind', type: 'u64', names: { '1': 'read' } }],
} as unknown as TraceHead;

/** Of a filter by thread each third record matches, of cycles from 10,000 on none. */
const isSparse = (filter: Filter) => filter.thread !== undefined;
const matches = (filter: Filter) =>
  BigInt(filter.cycles?.[0] ?? 0) >= 10_000n ? 0 : isSparse(filter) ? Math.ceil(RECORDS / 3) : RECORDS;

function engineOf() {
  return new FakeEngine({
    when: () => ({ head: { record: 3000, step: 1, cycle: '1', naturalStep: 1 } }),
    count: ({ filter, before }) => ({
      head: {
        count: matches(filter),
        exact: true,
        ...(before === undefined ? {} : { before: before / 3 }),
      },
    }),
    events: ({ filter, from: first, nth, count }) => {
      const step = isSparse(filter) ? 3 : 1;
      const from = first ?? (nth ?? 0) * step;
      const n = Math.min(count, Math.ceil((RECORDS - from) / step));
      const record = Float64Array.from({ length: n }, (_, i) => from + i * step);
      return {
        head: { more: from + n * step < RECORDS, next: from + n * step },
        columns: {
          record,
          cycle: BigUint64Array.from(record, (r) => BigInt(Math.floor(r / 10))),
          thread: new Uint32Array(n).fill(2),
          type: new Uint8Array(n).fill(4),
          at: new Uint32Array(2 * n).fill(1),
          to: new Uint32Array(2 * n).fill(3),
        },
      };
    },
  });
}

let engine: FakeEngine;
let explorer: Explorer;
let list: EventList;
let end: () => void;
const settled = () => vi.advanceTimersByTimeAsync(200);

beforeEach(() => {
  vi.useFakeTimers();
  engine = engineOf();
  explorer = new Explorer(engine);
  explorer.trace.head.value = HEAD;
  list = new EventList(explorer);
  end = list.follow();
});

afterEach(() => {
  end();
  vi.useRealTimers();
});

describe('the list of events', () => {
  it('counts all records without asking', async () => {
    await settled();
    expect(list.counted.value).toEqual({ count: RECORDS, exact: true });
    expect(engine.asked).toEqual([]);
  });

  it('counts what a filter lets through, once for what is typed quickly', async () => {
    await settled();
    for (const text of ['t', 'thread:', 'thread:2']) {
      list.text.value = text;
    }
    await settled();
    expect(list.counted.value?.count).toBe(Math.ceil(RECORDS / 3));
    expect(engine.asked.map(({ ask }) => ask)).toEqual(['count']);
  });

  it('fetches the page in the middle by its first match, and the one behind it by where that ended', async () => {
    list.text.value = 'thread:2';
    await settled();
    list.wantRows(100 * PAGE, 100 * PAGE + 30);
    await settled();
    expect(list.row(100 * PAGE + 1)?.record).toBe(300 * PAGE + 3);
    list.wantRows(101 * PAGE, 101 * PAGE + 30);
    await settled();
    expect(list.row(101 * PAGE)?.record).toBe(303 * PAGE);
    const asked = engine.asked.filter(({ ask }) => ask === 'events').map(({ question }) => question);
    expect(asked).toMatchObject([{ nth: 100 * PAGE }, { from: 303 * PAGE }]);
  });

  it('fetches rows over the edge of two pages by one question, and of those only what is not there', async () => {
    list.text.value = 'thread:2';
    await settled();
    list.wantRows(101 * PAGE - 10, 101 * PAGE + 20);
    await settled();
    expect(list.row(101 * PAGE - 1)?.record).toBe(303 * PAGE - 3);
    expect(list.row(101 * PAGE)?.record).toBe(303 * PAGE);
    list.wantRows(102 * PAGE - 10, 102 * PAGE + 20);
    await settled();
    expect(list.row(102 * PAGE)?.record).toBe(306 * PAGE);
    const asked = engine.asked.filter(({ ask }) => ask === 'events').map(({ question }) => question);
    expect(asked).toMatchObject([
      { nth: 100 * PAGE, count: 2 * PAGE },
      { from: 306 * PAGE, count: PAGE },
    ]);
  });

  it('fetches nothing again behind the end of what there is', async () => {
    await settled();
    list.wantRows(RECORDS - 5, RECORDS + PAGE + 5);
    await settled();
    list.wantRows(RECORDS - 5, RECORDS + PAGE + 5);
    await settled();
    expect(engine.asked.filter(({ ask }) => ask === 'events').length).toBe(1);
  });

  it('forgets its rows with another filter', async () => {
    await settled();
    list.wantRows(0, 30);
    await settled();
    expect(list.row(1)?.record).toBe(1);
    list.text.value = 'thread:2';
    await settled();
    expect(list.row(1)).toBeUndefined();
  });

  it('knows its row at the playhead', async () => {
    await settled();
    expect(await list.rowAtPlayhead()).toBe(3000);
    list.text.value = 'thread:2';
    await settled();
    expect(await list.rowAtPlayhead()).toBe(1000);
  });

  it('names the word without which something matches', async () => {
    list.text.value = 'thread:2 cycle>=10000';
    await settled();
    expect(list.counted.value?.count).toBe(0);
    expect(list.relief.value).toEqual({ word: 1, count: Math.ceil(RECORDS / 3) });
  });

  it('keeps to the range, but where its words name a time', async () => {
    explorer.time.range.value = { first: 100n, last: 200n };
    await settled();
    expect(engine.asked[0]?.question).toMatchObject({ filter: { cycles: ['100', '200'] } });
    expect(explorer.time.found.value).toBeUndefined(); // nothing was looked for
    list.text.value = 'thread:2';
    await settled();
    expect(list.filter.value).toEqual({ thread: 2, cycles: ['100', '200'] });
    expect(explorer.time.found.value).toEqual(list.filter.value);
    list.text.value = 'thread:2 cycle>=300';
    expect(list.range.value).toBeUndefined();
    expect(list.filter.value).toMatchObject({ thread: 2, cycles: ['300', String((1n << 64n) - 1n)] });
    list.text.value = 'not thread:2';
    expect(list.filter.value).toEqual({ without: [{ thread: 2 }] });
    list.text.value = '';
    explorer.time.range.value = undefined;
    await settled();
    expect(list.filter.value).toEqual({});
    expect(list.counted.value).toEqual({ count: RECORDS, exact: true });
  });

  it('names a word to leave out only where something matches in the range', async () => {
    explorer.time.range.value = { first: 20_000n, last: 30_000n };
    list.text.value = 'thread:2 fire';
    await settled();
    expect(list.counted.value?.count).toBe(0);
    expect(list.relief.value).toBeUndefined();
  });

  it('leaves words out that it does not understand', async () => {
    list.text.value = 'tread:2 kind:read';
    expect(list.words.value.usable).toBe(false);
    expect(list.filter.value).toEqual({ notes: [{ attribute: 'kind', value: '1' }] });
  });

  it('gives the first rows to copy, as many as are wanted', async () => {
    list.text.value = 'thread:2';
    await settled();
    const rows = [];
    for await (const part of list.parts(4500)) {
      rows.push(...part);
    }
    expect(rows.length).toBe(4500);
    expect(rows[4499]?.record).toBe(4499 * 3);
    expect(CSV_HEAD + csvOf(rows.slice(0, 1))).toBe(
      'record,cycle,what,thread,column,row,to column,to row\n0,0,send,2,1,1,3,3\n',
    );
  });

  it('asks again for rows that a busy server did not give', async () => {
    await settled();
    const ask = engine.ask.bind(engine);
    let refused = 0;
    engine.ask = ((...question: Parameters<typeof ask>) =>
      refused++ === 0
        ? Promise.reject(new AskError({ code: 'busy', message: 'too many' }))
        : ask(...question)) as typeof ask;
    const stop = effect(() => list.wantRows(0, 30));
    await settled();
    expect(list.row(1)).toBeUndefined();
    expect(list.failure.value).toMatchObject({ code: 'busy' });
    await vi.advanceTimersByTimeAsync(600);
    expect(list.row(1)?.record).toBe(1);
    expect(list.failure.value).toBeUndefined();
    stop();
  });

  it('says why where a question is refused', async () => {
    end();
    const refusing = new Explorer(new FakeEngine({}));
    refusing.trace.head.value = HEAD;
    list = new EventList(refusing);
    end = list.follow();
    list.text.value = 'thread:2';
    await settled();
    expect(list.failure.value).toMatchObject({ code: 'not-there' });
  });
});

describe('a filter', () => {
  it('tells the engine ends that are included or not, as it wants them', () => {
    expect(filterOf({ records: [5, 9], cycles: [1n, (1n << 64n) - 1n], steps: [1, 2] }, 7n)).toEqual({
      records: [5, 10],
      cycles: ['1', '18446744073709551615'],
      steps: [1, 2],
      skipTo: '7',
    });
  });

  it('of one thread names it, and of several their ranges', () => {
    expect(filterOf({ threads: [[3, 3]] }, 0n)).toEqual({ thread: 3 });
    expect(filterOf({ threads: [[0, 0], [2, 5]] }, 0n)).toEqual({ threads: [[0, 0], [2, 5]] });
  });

  it('that is turned round leaves out what all of its words ask for', () => {
    expect(filterOf({ not: true, threads: [[3, 3]], steps: [1, 2] }, 7n)).toEqual({
      without: [{ thread: 3, steps: [1, 2], skipTo: '7' }],
    });
    expect(filterOf({ not: true }, 0n)).toEqual({});
  });
});
