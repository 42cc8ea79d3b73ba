import { expect, test } from 'vitest';

import { Layout } from '../../../src/base/floorplan/layout';
import type { Picture } from '../../../src/base/picture';
import { PALETTES } from '../../../src/theme/palettes';
import { dimmedLook } from '../../../src/gl/cellLooks';
import { SceneMaker, type CellInput } from '../../../src/views/floorplan/scene';
import { paintCells } from '../../../src/views/takeAway/paintCells';
import { SvgBrush } from '../../../src/views/takeAway/svgBrush';

const SHAPE = { clusters: [2, 1], domains: [1, 1], pes: [2, 2] } as const;
const NONE = { record: new Float64Array(), age: new Uint8Array(), thread: new Uint32Array(), from: new Uint32Array(), to: new Uint32Array() };

function sceneOf(elements: readonly number[], pitch: number, more: Partial<CellInput> = {}) {
  const look = { plan: 'natural' as const, pitch, width: 400, height: 300, left: 20, bottom: 280, ratio: 1 };
  const picture: Picture = {
    reading: 'natural',
    step: 0,
    cycle: 0n,
    last: 0,
    elements: Uint8Array.from(elements),
    switches: new Uint8Array(2),
    messages: NONE,
  };
  const input: CellInput = {
    layout: new Layout(SHAPE, look),
    picture,
    palette: PALETTES.light,
    page: PALETTES.light.paper,
    colourBy: 'thread',
    lit: undefined,
    dimmed: false,
    viewer: undefined,
    kinds: undefined,
    heat: undefined,
    bare: false,
    ...more,
  };
  return new SceneMaker().make(input);
}

function draw(elements: readonly number[], pitch: number): string {
  const svg = new SvgBrush(() => 0);
  paintCells(svg, sceneOf(elements, pitch), 'Inter');
  return svg.file(400, 300, '');
}

test('A fresh cell is its colour, an old one has an edge, and one without a fire is a dot', () => {
  const [fresh, old] = [1 + 0 * 5 + 0, 1 + 1 * 5 + 4];
  const file = draw([fresh, 0, 0, 0, 0, 0, 0, old], 30);
  const [first, second] = PALETTES.light.threads;
  expect(file).toContain(`fill="rgb(${first?.join(' ')})"`);
  expect(file).toContain(`fill="rgb(${second?.join(' ')})"`); // the edge: what fills it is paler
  expect(file).toContain(`fill="rgb(${PALETTES.light.idle.join(' ')})"`);
  expect(file.match(/>0<\/text>|>1<\/text>/g)?.length).toBe(2);
  expect(file.match(/<rect /g)?.length).toBe(2); // the frames of both clusters
});

test('Small cells have neither digit nor edge', () => {
  expect(draw([1, 0, 0, 0, 0, 0, 0, 10], 6)).not.toContain('<text');
});

test('Beside what is shown on top, heat and the viewer reading are as pale as threads', () => {
  const heat = { values: Float64Array.of(1, 0, 0, 0, 0, 0, 0, 2), end: 2 };
  const viewer = { elements: new Uint8Array(93), switches: new Uint8Array(111), messages: new Uint8Array(36) };
  for (const more of [{}, { colourBy: 'heat', heat }, { viewer }] as const) {
    const [full, pale] = [false, true].map((dimmed) => sceneOf([1, 0, 0, 0, 0, 0, 0, 6], 30, { ...more, dimmed }));
    expect(pale?.units).toEqual(full?.units);
    expect(pale?.look.colours).toEqual(dimmedLook(full!.look).colours);
    expect(pale?.look.colours).not.toEqual(full?.look.colours);
  }
});
