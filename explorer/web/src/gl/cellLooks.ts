import { ELEMENT_AGES, SWITCH_AGES, THREADS, elementTouch, switchTouch } from '../base/picture';
import {
  ELEMENT_FILLS,
  ELEMENT_SIDES,
  SWITCH_FILLS,
  inkOn,
  mix,
  type Palette,
  type Rgb,
} from '../theme/palettes';
import { BLANK, DOT, PALETTE_ROWS, type CellLook } from './cells';

const WHITE: Rgb = [255, 255, 255];
const BLACK: Rgb = [0, 0, 0];

/** Of what is not of the thread that is pointed at. */
const DIMMED = 0.2;

/** Levels of fill of a unit of many elements. */
export const SHARE_LEVELS = 41;

const newColours = (): Uint8Array => new Uint8Array(256 * PALETTE_ROWS * 4);

function put(colours: Uint8Array, row: number, code: number, color: Rgb, alpha: number): void {
  colours.set([...color, alpha], 4 * (row * 256 + code));
}

/** A cell of one colour, up to its edge. */
function putSolid(colours: Uint8Array, code: number, color: Rgb): void {
  put(colours, 0, code, color, 0);
  put(colours, 1, code, color, 0);
}

/** Fill, edge and digit of a code. */
function putThread(colours: Uint8Array, code: number, palette: Palette, thread: number, share: number, age: number, lit: number | undefined): void {
  const dim = lit === undefined || lit === thread ? 1 : DIMMED;
  const color = palette.threads[thread] ?? BLACK;
  const fill = mix(color, palette.paper, share * dim);
  put(colours, 0, code, fill, age);
  put(colours, 1, code, mix(color, palette.paper, dim), thread);
  put(colours, 2, code, inkOn(fill), dim === 1 ? 255 : 0);
}

function lookOf(colours: Uint8Array, palette: Palette, sides: readonly number[]): CellLook {
  for (let code = 0; code <= THREADS * SWITCH_AGES; ++code) {
    put(colours, 3, code, switchColours(palette, code, SWITCH_FILLS, undefined).fill, 0);
  }
  return { colours, sides, paper: palette.paper, outline: palette.cluster };
}

/** By thread, of elements: fresh is solid, old is hollow. `lit` is the thread that is pointed at. */
export function threadLook(palette: Palette, lit: number | undefined): CellLook {
  const colours = newColours();
  put(colours, 0, 0, mix(palette.idle, palette.paper, lit === undefined ? 1 : DIMMED), DOT);
  for (let code = 1; code <= THREADS * ELEMENT_AGES; ++code) {
    const touch = elementTouch(code);
    if (touch !== undefined) {
      putThread(colours, code, palette, touch.thread, ELEMENT_FILLS[touch.age] ?? 1, touch.age, lit);
    }
  }
  return lookOf(colours, palette, ELEMENT_SIDES);
}

/** By thread, of domains or clusters, whose codes are 1 + thread * SHARE_LEVELS + level of fill. */
export function shareLook(palette: Palette, lit: number | undefined): CellLook {
  const colours = newColours();
  put(colours, 0, 0, palette.paper, BLANK);
  for (let code = 1; code <= THREADS * SHARE_LEVELS; ++code) {
    const thread = Math.floor((code - 1) / SHARE_LEVELS);
    const share = ((code - 1) % SHARE_LEVELS) / (SHARE_LEVELS - 1);
    putThread(colours, code, palette, thread, share, 0, lit);
  }
  return lookOf(colours, palette, [1]);
}

/** What is of none of the most frequent kinds. */
export const OTHER_KIND = THREADS + 1;

/** By kind: codes are 1 + number of the kind, in the colours of threads, and OTHER_KIND. */
export function kindLook(palette: Palette, dots: boolean): CellLook {
  const colours = newColours();
  put(colours, 0, 0, palette.idle, dots ? DOT : BLANK);
  palette.threads.forEach((color, kind) => putSolid(colours, kind + 1, color));
  putSolid(colours, OTHER_KIND, palette.idle);
  return lookOf(colours, palette, [1]);
}

/** By a number of each unit: codes are 1 + stop of the map; 0 is nothing. */
export function heatLook(palette: Palette, dots: boolean): CellLook {
  const colours = newColours();
  put(colours, 0, 0, palette.idle, dots ? DOT : BLANK);
  palette.sequential.forEach((color, stop) => putSolid(colours, stop + 1, color));
  return lookOf(colours, palette, [1]);
}

/** Colours of all codes at a step of the viewer, as red, green and blue one after the other. */
export interface ViewerColours {
  readonly elements: Uint8Array;
  readonly switches: Uint8Array;
  readonly messages: Uint8Array;
}

const triple = (from: Uint8Array, number: number): Rgb => [
  from[3 * number] ?? 0,
  from[3 * number + 1] ?? 0,
  from[3 * number + 2] ?? 0,
];

/** Exactly as the viewer shows it, on white paper. */
export function viewerLook(viewer: ViewerColours): CellLook {
  const colours = newColours();
  for (let code = 0; code <= THREADS * ELEMENT_AGES; ++code) {
    put(colours, 0, code, triple(viewer.elements, code), 0);
  }
  for (let code = 0; code <= THREADS * SWITCH_AGES; ++code) {
    put(colours, 3, code, triple(viewer.switches, code), 0);
  }
  return { colours, sides: [1], paper: WHITE, outline: BLACK };
}

/** Any look, of which nothing is of what is shown on top. */
export function dimmedLook(look: CellLook): CellLook {
  const colours = look.colours.slice();
  for (let i = 0; i < colours.length; i += 4) {
    const [red = 0, green = 0, blue = 0] = colours.subarray(i, i + 3);
    colours.set(mix([red, green, blue], look.paper, DIMMED), i);
  }
  return { ...look, colours };
}

/** The colour of a message as the viewer shows it. */
export const messageColour = (viewer: ViewerColours, age: number): Rgb =>
  triple(viewer.messages, Math.min(11, age));

/** What fills a switch of the natural reading, and its edge. */
export function switchColours(palette: Palette, code: number, fills: readonly number[], lit: number | undefined): { readonly edge: Rgb; readonly fill: Rgb } {
  const touch = switchTouch(code);
  if (touch === undefined) {
    return { edge: palette.cluster, fill: palette.paper };
  }
  const dim = lit === undefined || lit === touch.thread ? 1 : DIMMED;
  const color = mix(palette.threads[touch.thread] ?? BLACK, palette.paper, dim);
  const fill = fills[touch.age];
  return { edge: color, fill: fill === undefined ? palette.paper : mix(color, palette.paper, fill) };
}
