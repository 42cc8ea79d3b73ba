import { describe, expect, it } from 'vitest';

import { editDistance, nearestWord } from '../../src/base/nearestWord';

describe('the nearest word', () => {
  it('counts letters added, dropped, changed, and swapped with a neighbour', () => {
    expect(editDistance('thread', 'thread')).toBe(0);
    expect(editDistance('tread', 'thread')).toBe(1);
    expect(editDistance('thraed', 'thread')).toBe(1);
    expect(editDistance('fired', 'fire')).toBe(1);
    expect(editDistance('', 'fire')).toBe(4);
  });

  it('is what was begun, before what looks alike', () => {
    expect(nearestWord('clus', ['close', 'cluster'])).toBe('cluster');
  });

  it('is nothing where nothing is near', () => {
    expect(nearestWord('elephant', ['fire', 'send', 'thread'])).toBeUndefined();
    expect(nearestWord('xy', ['pe'])).toBeUndefined();
  });

  it('does not look at capitals', () => {
    expect(nearestWord('THRED', ['thread'])).toBe('thread');
  });
});
