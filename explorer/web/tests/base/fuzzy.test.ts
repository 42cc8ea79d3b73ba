import { describe, expect, it } from 'vitest';

import { fuzzyMatch, matchedParts } from '../../src/base/fuzzy';

const score = (name: string, wanted: string) => fuzzyMatch(name, wanted)?.score ?? -Infinity;

describe('names by some of their letters', () => {
  it('match as a whole, best at the start of a word', () => {
    expect(fuzzyMatch('Show link load', 'lin')?.spans).toEqual([[5, 8]]);
    expect(score('Show link load', 'lin')).toBeGreaterThan(score('Outline', 'lin'));
  });

  it('match in several parts, whatever their order', () => {
    expect(fuzzyMatch('Show link load', 'load show')?.spans).toEqual([
      [0, 4],
      [10, 14],
    ]);
  });

  it('match by the letters that begin words', () => {
    expect(fuzzyMatch('Show link load', 'sll')).toBeDefined();
    expect(score('Show link load', 'link')).toBeGreaterThan(score('Show link load', 'sll'));
  });

  it('do not match by letters that stand just anywhere', () => {
    expect(fuzzyMatch('Play or pause', 'ayrs')).toBeUndefined();
    expect(fuzzyMatch('Fit all', 'xyz')).toBeUndefined();
  });

  it('all match where nothing is wanted', () => {
    expect(fuzzyMatch('Fit all', ' ')).toEqual({ score: 0, spans: [] });
  });

  it('are drawn with what matched', () => {
    expect(matchedParts('Show link load', [[5, 8]])).toEqual([
      { text: 'Show ', matched: false },
      { text: 'lin', matched: true },
      { text: 'k load', matched: false },
    ]);
    expect(matchedParts('abc', [[0, 2], [1, 3]]).map((part) => part.text).join('')).toBe('abc');
  });
});
