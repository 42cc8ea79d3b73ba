import { effect } from '@preact/signals';
import { describe, expect, it } from 'vitest';

import type { BucketSpan } from '../../src/base/buckets';
import { panned } from '../../src/base/timeScale';
import { StripFeed } from '../../src/model/stripFeed';
import { AskError } from '../../src/protocol/fault';

const BOUNDS = { first: 0n, last: 999_999n };
const VIEW = { start: 500_000n, fraction: 0, span: 10_000 };
const settled = () => new Promise((resolve) => setTimeout(resolve));

/** A feed whose answers come when the test says so. */
function feedOf() {
  const asked: BucketSpan[] = [];
  const answers: ((value: string | Error) => void)[] = [];
  const feed = new StripFeed<string>((span) => {
    asked.push(span);
    return new Promise((resolve, reject) => {
      answers.push((value) => (typeof value === 'string' ? resolve(value) : reject(value)));
    });
  });
  const want = (view = VIEW, key = 'a') => feed.want({ key, view, pixels: 1000, bounds: BOUNDS });
  return { feed, asked, answers, want };
}

describe('the data of a strip', () => {
  it('is asked for once, however often it is wanted', async () => {
    const { feed, asked, answers, want } = feedOf();
    want();
    want();
    answers[0]?.('first');
    await settled();
    want();
    expect(asked.length).toBe(1);
    expect(feed.data).toBe('first');
  });

  it('does for a pan, and is asked for again before the pan reaches its end', async () => {
    const { asked, answers, want } = feedOf();
    want();
    answers[0]?.('first');
    await settled();
    want(panned(VIEW, 5_000));
    expect(asked.length).toBe(1);
    want(panned(VIEW, 8_000));
    expect(asked.length).toBe(2);
  });

  it('stays while the next is on its way, and the newest wish wins', async () => {
    const { feed, asked, answers, want } = feedOf();
    want();
    answers[0]?.('first');
    await settled();
    [4_000, 2_000, 1_000].forEach((span) => want({ ...VIEW, span }));
    expect(feed.data).toBe('first');
    answers[1]?.('second');
    await settled();
    expect(asked.length).toBe(3);
    expect(asked[2]?.level).toBe(0);
    expect(feed.data).toBe('second');
  });

  it('is asked for anew for another key, and after the trace has grown', async () => {
    const { feed, asked, answers, want } = feedOf();
    want();
    answers[0]?.('first');
    await settled();
    feed.renew();
    want();
    expect(asked.length).toBe(2);
    expect(feed.data).toBe('first');
    answers[1]?.('second');
    await settled();
    want(VIEW, 'b');
    expect(asked.length).toBe(3);
  });

  it('that cannot be had says why, and is tried again at the next wish', async () => {
    const { feed, asked, answers, want } = feedOf();
    want();
    answers[0]?.(new AskError({ code: 'busy', message: 'too many' }));
    await settled();
    expect(feed.failure.value).toBeInstanceOf(AskError);
    want();
    expect(asked.length).toBe(2);
  });

  it('of another trace is forgotten, also where it comes late', async () => {
    const { feed, answers, want } = feedOf();
    want();
    feed.clear();
    answers[0]?.('late');
    await settled();
    expect(feed.data).toBeUndefined();
  });

  it('may be wanted within an effect, which does not depend on the asking', async () => {
    const { want, answers } = feedOf();
    let runs = 0;
    effect(() => {
      runs += 1;
      want();
    });
    answers[0]?.('first');
    await settled();
    expect(runs).toBe(1);
  });
});
