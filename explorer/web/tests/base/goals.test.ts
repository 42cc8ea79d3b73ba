import { describe, expect, it } from 'vitest';

import { goalsOf } from '../../src/base/goals';

describe('where a text may lead', () => {
  it('is a cycle or a step for a number alone', () => {
    expect(goalsOf('1842')).toEqual([
      { kind: 'cycle', cycle: 1842n },
      { kind: 'step', number: 1842 },
    ]);
  });

  it('is what the word says', () => {
    expect(goalsOf('cycle 18446744073709551615')).toEqual([{ kind: 'cycle', cycle: (1n << 64n) - 1n }]);
    expect(goalsOf('s 12')).toEqual([{ kind: 'step', number: 12 }]);
    expect(goalsOf('Record: 7')).toEqual([{ kind: 'record', number: 7 }]);
    expect(goalsOf('packet 16538')).toEqual([{ kind: 'packet', packet: 16538n }]);
  });

  it('is a PE for two numbers, however they are written', () => {
    for (const text of ['3,7', '3 7', '(3, 7)', 'pe 3,7', 'PE:3,7']) {
      expect(goalsOf(text)).toEqual([{ kind: 'pe', place: [3, 7] }]);
    }
    expect(goalsOf('cluster 1,2')).toEqual([{ kind: 'cluster', place: [1, 2] }]);
  });

  it('is a link for where it leaves and which way', () => {
    expect(goalsOf('link 3,2 right')).toEqual([{ kind: 'link', link: [3, 2, 'right'] }]);
    expect(goalsOf('LINK: (0, 1) Up')).toEqual([{ kind: 'link', link: [0, 1, 'up'] }]);
    expect(goalsOf('link 3,2')).toEqual([]);
    expect(goalsOf('link 3,2 north')).toEqual([]);
  });

  it('may be both for a number with thousands', () => {
    expect(goalsOf('1,842').map((goal) => goal.kind)).toEqual(['pe', 'cycle', 'step']);
  });

  it('is nothing for words, and for numbers that no cycle has', () => {
    expect(goalsOf('thread:3 fire')).toEqual([]);
    expect(goalsOf('')).toEqual([]);
    expect(goalsOf('cycle 18446744073709551616')).toEqual([]);
    expect(goalsOf('step 9007199254740993')).toEqual([]);
  });
});
