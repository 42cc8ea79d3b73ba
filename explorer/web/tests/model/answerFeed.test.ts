import { signal } from '@preact/signals';
import { afterEach, beforeEach, describe, expect, it } from 'vitest';

import { FakeEngine } from '../../src/engine/fakeEngine';
import { AnswerFeed } from '../../src/model/answerFeed';
import { Explorer } from '../../src/model/explorer';
import type { Questions } from '../../src/protocol/questions';

const settled = () => new Promise((resolve) => setTimeout(resolve, 5));
const question = (column: number, cycle: string): Questions['piece'] => ({
  piece: { pe: [column, 0] },
  reading: 'natural',
  cycle,
  shape: { clusters: [1, 1], domains: [1, 1], pes: [4, 4] },
});

let engine: FakeEngine;
let wanted: ReturnType<typeof signal<Questions['piece'] | undefined>>;
let feed: AnswerFeed<'piece'>;
let end: () => void;

beforeEach(() => {
  engine = new FakeEngine({
    piece: (asked) => ({ head: { name: `${JSON.stringify(asked.piece)} ${'cycle' in asked ? asked.cycle : ''}` } }),
  });
  wanted = signal<Questions['piece'] | undefined>(undefined);
  feed = new AnswerFeed(new Explorer(engine), 'piece', () => wanted.value, (q) => JSON.stringify(q.piece));
  end = feed.follow();
});

afterEach(() => end());

const shown = () => feed.fed.value?.answer.head.name;

describe('an answer that follows its question', () => {
  it('is asked for when there is a question, once for equal ones', async () => {
    expect(engine.asked.length).toBe(0);
    wanted.value = question(1, '5');
    wanted.value = question(1, '5');
    await settled();
    expect(shown()).toContain('5');
    expect(engine.asked.length).toBe(1);
  });

  it('stays while another one about the same is on its way', async () => {
    wanted.value = question(1, '5');
    await settled();
    wanted.value = question(1, '6');
    expect(shown()).toContain('5');
    await settled();
    expect(shown()).toContain('6');
  });

  it('goes at once with its subject', async () => {
    wanted.value = question(1, '5');
    await settled();
    wanted.value = question(2, '5');
    expect(shown()).toBeUndefined();
    await settled();
    expect(shown()).toContain('[2,0]');
    wanted.value = undefined;
    expect(shown()).toBeUndefined();
  });

  it('passes over questions that newer ones have replaced', async () => {
    for (let cycle = 0; cycle < 50; ++cycle) {
      wanted.value = question(1, String(cycle));
    }
    await settled();
    expect(shown()).toContain('49');
    expect(engine.asked.length).toBe(2);
  });

  it('that fails says why, until another one is there', async () => {
    feed.failure.value = undefined;
    const refused = new AnswerFeed(new Explorer(new FakeEngine({})), 'piece', () => question(1, '1'), () => '');
    const stop = refused.follow();
    await settled();
    expect(refused.failure.value).toMatchObject({ code: 'not-there' });
    stop();
  });
});
