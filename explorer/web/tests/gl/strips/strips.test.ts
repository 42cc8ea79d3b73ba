import { describe, expect, it } from 'vitest';

import type { StackData } from '../../../src/base/stripData';
import { drawCount, highestCount } from '../../../src/gl/strips/counts';
import { bandRange, drawTicks } from '../../../src/gl/strips/lane';
import { drawFrame, drawHits, frameEdges } from '../../../src/gl/strips/overview';
import { drawPlayhead, middleOf, playheadTakes } from '../../../src/gl/strips/playhead';
import { rangeEdges } from '../../../src/gl/strips/range';
import { drawMark, drawRuler } from '../../../src/gl/strips/ruler';
import { drawLine, drawStack, highestOf, sumsOf } from '../../../src/gl/strips/stack';
import type { StripBox, StripColours } from '../../../src/gl/strips/strip';
import { only, recordingPen } from './pen';

const COLOURS: StripColours = {
  paper: 'paper',
  surface: 'surface',
  line: 'line',
  control: 'control',
  ink: 'ink',
  ink2: 'ink2',
  ink3: 'ink3',
  accent: 'accent',
  wash: 'wash',
  danger: 'danger',
  threads: ['t0', 't1', 't2', 't3', 't4', 't5'],
  edge: undefined,
};
const BOX: StripBox = { y: 100, width: 400, height: 88, ratio: 1 };
const WINDOW = { start: 10n, fraction: 0, span: 4 };
const BUCKETS = { origin: 8n, edges: Float64Array.of(0, 1, 2, 3, 4, 5, 6, 7, 8) };
const STACK: StackData = {
  buckets: BUCKETS,
  slots: 2,
  mean: Float64Array.of(9, 9, 1, 2, 0, 4, 9, 9, 9, 9, 3, 0, 0, 4, 9, 9),
  worst: undefined,
};

describe('what was found', () => {
  it('is marked at its cycles, also where these are narrower than a pixel', () => {
    const { g, drawn } = recordingPen();
    const hits = { first: BigUint64Array.of(0n, 10n, 500n, 1000n, 3000n), hit: Uint8Array.of(0, 1, 1, 0, 1), last: 3999n };
    drawHits(g, BOX, 16, { start: 0n, fraction: 0, span: 4000 }, hits, COLOURS);
    expect(only(drawn, 'fillRect').map(({ at, style }) => [...at, style])).toEqual([
      [1, 102, 99, 5, 'accent'],
      [300, 102, 100, 5, 'accent'],
    ]);
    drawHits(g, BOX, 16, { start: 0n, fraction: 0, span: 4_000_000 }, hits, COLOURS);
    expect(only(drawn, 'fillRect')[3]?.at[2]).toBe(1.5);
  });
});

describe('stacked bars', () => {
  it('stand at their cycles, one colour upon the other', () => {
    const { g, drawn } = recordingPen();
    drawStack(g, BOX, WINDOW, STACK, 8, COLOURS.threads);
    const bars = only(drawn, 'rect');
    expect(bars.map((bar) => bar.at)).toEqual([
      [0, 178, 99, 10],
      [100, 168, 99, 20],
      [300, 148, 99, 40],
      [0, 148, 99, 30],
      [300, 108, 99, 40],
    ]);
    expect(only(drawn, 'fill').map((fill) => fill.style)).toEqual(['t0', 't1']);
  });

  it('have no gaps and are lighter where each is a pixel wide', () => {
    const { g, drawn } = recordingPen();
    drawStack(g, { ...BOX, width: 5 }, WINDOW, STACK, 8, COLOURS.threads);
    expect(only(drawn, 'fill')[0]?.alpha).toBe(0.8);
    const [first, second] = only(drawn, 'rect');
    expect((first?.at[0] ?? 0) + (first?.at[2] ?? 0)).toBe(second?.at[0]);
  });

  it('are as high as what is to be seen allows, the worst cycle included', () => {
    expect(highestOf(STACK, WINDOW)).toBe(8);
    const worst = Float64Array.of(99, 99, 5, 20, 5, 5, 99, 99);
    expect(highestOf({ ...STACK, worst }, WINDOW)).toBe(20);
  });

  it('have the line of the worst cycle over the middle of each', () => {
    const { g, drawn } = recordingPen();
    drawLine(g, BOX, WINDOW, STACK, new Float64Array(8).fill(4), 8, COLOURS);
    expect(only(drawn, 'moveTo')[0]?.at).toEqual([50, 148]);
    expect(only(drawn, 'lineTo').map((d) => d.at[1])).toEqual([148, 148, 148]);
  });

  it('know how high they are together', () => {
    expect([...sumsOf(STACK)]).toEqual([18, 18, 4, 2, 0, 8, 18, 18]);
  });
});

describe('counts', () => {
  it('are steps from the ground', () => {
    const data = { buckets: BUCKETS, values: Float64Array.of(9, 9, 0, 2, 4, 0, 9, 9) };
    expect(highestCount(data, WINDOW)).toBe(4);
    const { g, drawn } = recordingPen();
    drawCount(g, { ...BOX, height: 25 }, WINDOW, data, 4, COLOURS);
    expect(only(drawn, 'moveTo')[0]?.at).toEqual([0, 125]);
    expect(only(drawn, 'lineTo').map((d) => d.at)).toContainEqual([300, 105]);
  });

  it('that are all zero draw nothing', () => {
    const { g, drawn } = recordingPen();
    drawCount(g, BOX, WINDOW, { buckets: BUCKETS, values: new Float64Array(8) }, 0, COLOURS);
    expect(drawn).toEqual([]);
  });
});

describe('lanes', () => {
  const data = {
    buckets: BUCKETS,
    count: Float64Array.of(1, 1, 1, 0, 2, 0, 1, 1),
    thread: Uint8Array.of(0, 0, 3, 255, 255, 255, 0, 0),
  };

  it('have a tick where the unit does something, in the colour of the thread', () => {
    const { g, drawn } = recordingPen();
    drawTicks(g, { ...BOX, height: 20 }, WINDOW, data, COLOURS);
    expect(drawn.map((d) => [d.style, d.at[0]])).toEqual([
      ['t3', 0],
      ['ink3', 200],
    ]);
  });

  it('give colours that are too close to the paper an edge', () => {
    const { g, drawn } = recordingPen();
    drawTicks(g, BOX, WINDOW, data, { ...COLOURS, edge: 'control' });
    expect(only(drawn, 'strokeRect').length).toBe(2);
  });

  it('of counters know their range, and that nothing is known', () => {
    const nothing = new Float64Array(8).fill(NaN);
    const band = { buckets: BUCKETS, min: nothing, mean: nothing, max: nothing };
    expect(bandRange(band, WINDOW)).toBeUndefined();
    const max = Float64Array.of(9, 9, NaN, 3, NaN, 7, 9, 9);
    expect(bandRange({ ...band, max }, WINDOW)).toEqual([0, 7]);
  });
});

describe('the ruler', () => {
  const ticks = {
    labelled: [
      { at: 10n, text: '10' },
      { at: 12n, text: '12' },
    ],
    small: [11n],
  };

  it('labels its ticks but where something else stands', () => {
    const { g, drawn } = recordingPen();
    drawRuler(g, BOX, 16, WINDOW, ticks, [[190, 230]], COLOURS);
    expect(only(drawn, 'fillText').map((d) => d.text)).toEqual(['10']);
    expect(only(drawn, 'fillRect').map((d) => d.at[0])).toEqual([100, 0, 200]);
  });

  it('writes no label that would be cut off', () => {
    const { g, drawn } = recordingPen();
    drawRuler(g, { ...BOX, width: 210 }, 16, { ...WINDOW, span: 2.1 }, ticks, [], COLOURS);
    expect(only(drawn, 'fillText').map((d) => d.text)).toEqual(['10']);
  });

  it('has marks with their names', () => {
    const { g, drawn } = recordingPen();
    const taken = drawMark(g, BOX, 16, WINDOW, { at: 11n, name: 'sweep 3' }, COLOURS);
    expect(only(drawn, 'fillText')[0]).toMatchObject({ text: 'sweep 3', at: [112, 144] });
    expect(taken).toEqual([98, 158]);
  });
});

describe('the playhead', () => {
  it('stands in the middle of a wide cycle and at the start of a narrow one', () => {
    expect(middleOf(WINDOW, BOX, 11n)).toBe(150);
    expect(middleOf({ ...WINDOW, span: 400 }, BOX, 11n)).toBe(1);
  });

  it('keeps its chip within the strip', () => {
    const { g } = recordingPen();
    const [from] = playheadTakes(g, BOX, 16, { ...WINDOW, span: 400 }, 10n, '1,842');
    expect(from).toBe(0);
    const [, to] = playheadTakes(g, BOX, 16, { ...WINDOW, span: 400 }, 409n, '1,842');
    expect(to).toBe(400);
  });

  it('is not drawn out of the window', () => {
    const { g, drawn } = recordingPen();
    drawPlayhead(g, BOX, 300, 16, WINDOW, 99n, '99', COLOURS);
    expect(drawn).toEqual([]);
    drawPlayhead(g, BOX, 300, 16, WINDOW, 11n, '11', COLOURS);
    expect(only(drawn, 'fillText')[0]?.text).toBe('11');
  });
});

describe('range and frame', () => {
  it('a range includes its last cycle', () => {
    expect(rangeEdges(WINDOW, 400, { first: 11n, last: 12n })).toEqual([100, 300]);
  });

  it('the frame stands round the window, and stays to be seen when that is small', () => {
    const whole = { start: 0n, fraction: 0, span: 100_000 };
    expect(frameEdges({ ...whole, span: 100 }, WINDOW, 1000)).toEqual([100, 140]);
    const { g, drawn } = recordingPen();
    drawFrame(g, BOX, 16, whole, WINDOW, COLOURS);
    expect(only(drawn, 'strokeRect')[0]?.at[2]).toBeGreaterThanOrEqual(1);
    expect(only(drawn, 'roundRect').length).toBe(2);
  });
});
