import { expect, test } from 'vitest';

import { dimmedLook, heatLook, kindLook, threadLook, viewerLook } from '../../src/gl/cellLooks';
import { PALETTES, mix } from '../../src/theme/palettes';

const palette = PALETTES.light;
const at = (colours: Uint8Array, row: number, code: number) => [
  ...colours.subarray(4 * (256 * row + code), 4 * (256 * row + code) + 3),
];

test('Old cells are hollow: the edge has the full colour of the thread, what is in it less', () => {
  const { colours } = threadLook(palette, undefined);
  const code = 1 + 2 * 5 + 4; // thread 2, as old as it gets
  expect(at(colours, 1, code)).toEqual(palette.threads[2]);
  expect(at(colours, 0, code)).toEqual(mix(palette.threads[2]!, palette.paper, 0.38));
});

test('Beside the thread that is pointed at, all others are pale', () => {
  const { colours } = threadLook(palette, 1);
  expect(at(colours, 1, 1 + 1 * 5)).toEqual(palette.threads[1]);
  expect(at(colours, 1, 1)).toEqual(mix(palette.threads[0]!, palette.paper, 0.2));
});

test('Cells of heat and of kinds have one colour up to their edges', () => {
  for (const look of [heatLook(palette, true), kindLook(palette, true)]) {
    for (let code = 1; code < 8; ++code) {
      expect(at(look.colours, 1, code)).toEqual(at(look.colours, 0, code));
    }
  }
  expect(at(heatLook(palette, true).colours, 0, 16)).toEqual(palette.sequential[15]);
});

test('Beside what is shown on top, every look is pale, on its own paper', () => {
  const viewer = { elements: new Uint8Array(93).fill(0), switches: new Uint8Array(111), messages: new Uint8Array(36) };
  for (const look of [heatLook(palette, true), kindLook(palette, true), viewerLook(viewer), threadLook(palette, undefined)]) {
    const dimmed = dimmedLook(look);
    for (const [row, code] of [[0, 1], [0, 5], [1, 3]] as const) {
      const [red = 0, green = 0, blue = 0] = at(look.colours, row, code);
      expect(at(dimmed.colours, row, code)).toEqual(mix([red, green, blue], look.paper, 0.2));
    }
    const shapes = (colours: Uint8Array) => colours.filter((_, i) => i % 4 === 3);
    expect(shapes(dimmed.colours)).toEqual(shapes(look.colours));
  }
});
