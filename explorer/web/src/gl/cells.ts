import type { PixelTable } from '../base/floorplan/pixelTable';
import { FetchedTexture, programOf, uniformsOf, type Gl, type Uniforms } from './context';

export interface Codes {
  readonly columns: number;
  readonly rows: number;
  /** One byte a unit, row by row, row 0 below. */
  readonly codes: Uint8Array;
}

/**
 * What the cells of each code look like. Four rows of 256 colours: what fills a cell, its edge, its
 * digit, and square switches. The alpha of the fill is the cell's age, by which `sides` tells its
 * size, or one of those below; the alpha of the digit is 255 where there is one.
 */
export interface CellLook {
  readonly colours: Uint8Array;
  readonly sides: readonly number[];
  readonly paper: readonly [number, number, number];
  readonly outline: readonly [number, number, number];
}

export const DOT = 254; // a dot of 0.3 cell
export const BLANK = 255; // nothing is drawn
export const PALETTE_ROWS = 4;

export interface CellScene {
  readonly columns: PixelTable;
  readonly rows: PixelTable;
  readonly units: Codes;
  /** Codes of the switches, by cluster. */
  readonly clusters: Codes;
  /** Clusters without anything in them are 0: their outlines are dashed. */
  readonly busy: Codes;
  readonly look: CellLook;
  /** Edges, sizes and digits are told apart from this size of a cell on; 0: never. */
  readonly hollow: boolean;
  readonly outlines: boolean;
  /** Size of a digit in the atlas in pixels; 0: no digits. */
  readonly digit: number;
  readonly edge: number;
  /** Around the paper, where that is a sheet: x, y, width, height, radius. */
  readonly page: readonly [number, number, number];
  readonly sheet: readonly [number, number, number, number, number] | undefined;
}

const VERTEX = `
void main() {
  vec2 corner = vec2(gl_VertexID % 2, gl_VertexID / 2);
  gl_Position = vec4(corner * 4.0 - 1.0, 0, 1);
}`;

const FRAGMENT = `
precision highp float;
precision highp int;
precision highp isampler2D;
precision highp usampler2D;
uniform isampler2D columns;
uniform isampler2D rows;
uniform usampler2D units;
uniform usampler2D clusters;
uniform usampler2D busy;
uniform sampler2D colours;
uniform sampler2D digits;
uniform float sides[6];
uniform vec3 paper;
uniform vec3 page;
uniform vec3 outline;
uniform int height;
uniform bool hollow;
uniform bool outlines;
uniform int digit;
uniform int edge;
uniform vec4 sheet;
uniform float radius;
out vec4 color;

float sheetCover(vec2 at) {
  vec2 half_ = sheet.zw * 0.5;
  vec2 d = abs(at - sheet.xy - half_) - half_ + radius;
  return clamp(0.5 - (length(max(d, 0.0)) + min(max(d.x, d.y), 0.0) - radius), 0.0, 1.0);
}

bool inside(int offset, int size, float share, out int from, out int side) {
  side = max(1, int(floor(float(size) * share + 0.5)));
  from = offset - (size - side) / 2;
  return from >= 0 && from < side;
}

vec3 cell(ivec4 c, ivec4 r, vec3 under) {
  int code = int(texelFetch(units, ivec2(c.x, r.x), 0).r);
  vec4 fill = texelFetch(colours, ivec2(code, 0), 0);
  int age = int(fill.a * 255.0 + 0.5);
  if (age == ${BLANK}) {
    return under;
  }
  ivec2 from;
  ivec2 side;
  float share = age == ${DOT} ? 0.3 : hollow ? sides[age] : 1.0;
  if (!inside(c.y, c.z, share, from.x, side.x) || !inside(r.y, r.z, share, from.y, side.y)) {
    return under;
  }
  if (age == ${DOT}) {
    return fill.rgb;
  }
  bool atEdge = any(lessThan(from, ivec2(edge))) || any(greaterThanEqual(from, side - edge));
  if (hollow && atEdge) {
    return texelFetch(colours, ivec2(code, 1), 0).rgb;
  }
  vec4 ink = texelFetch(colours, ivec2(code, 2), 0);
  if (digit > 0 && ink.a > 0.0) {
    ivec2 at = ivec2(c.y, r.y) - (ivec2(c.z, r.z) - digit) / 2;
    if (all(greaterThanEqual(at, ivec2(0))) && all(lessThan(at, ivec2(digit)))) {
      int number = int(texelFetch(colours, ivec2(code, 1), 0).a * 255.0 + 0.5);
      float cover = texelFetch(digits, ivec2(number * digit + at.x, at.y), 0).r;
      return mix(fill.rgb, ink.rgb, cover);
    }
  }
  return fill.rgb;
}

void main() {
  ivec2 at = ivec2(int(gl_FragCoord.x), height - 1 - int(gl_FragCoord.y));
  ivec4 c = texelFetch(columns, ivec2(at.x, 0), 0);
  ivec4 r = texelFetch(rows, ivec2(at.y, 0), 0);
  ivec4 cc = texelFetch(columns, ivec2(at.x, 1), 0);
  ivec4 cr = texelFetch(rows, ivec2(at.y, 1), 0);
  vec3 under = mix(page, paper, sheetCover(vec2(at) + 0.5));
  if (outlines && cc.x >= 0 && cr.x >= 0 && (cc.y == 1 || cr.y == 1)) {
    bool dashed = texelFetch(busy, ivec2(cc.x, cr.x), 0).r == 0u;
    int along = cr.y == 1 ? cc.w : cr.w;
    if (!dashed || (along / edge) % 4 < 2) {
      under = outline;
    }
  }
  if (c.x >= 0 && r.x >= 0) {
    under = cell(c, r, under);
  }
  if (cc.z >= 0 && cr.z >= 0) {
    under = texelFetch(colours, ivec2(int(texelFetch(clusters, ivec2(cc.z, cr.z), 0).r), 3), 0).rgb;
  }
  color = vec4(under, 1);
}`;

/**
 * Draws all cells in one go: for each pixel, two tables tell what lies there, a texture of one byte
 * a unit tells its code, and a palette what that looks like. A step uploads bytes and builds nothing.
 */
export class CellProgram {
  private readonly program: WebGLProgram;
  private readonly uniform: Uniforms;
  private readonly columns: FetchedTexture;
  private readonly rows: FetchedTexture;
  private readonly units: FetchedTexture;
  private readonly clusters: FetchedTexture;
  private readonly busy: FetchedTexture;
  private readonly colours: FetchedTexture;
  private readonly digits: FetchedTexture;
  private last: Partial<CellScene> = {};

  constructor(private readonly gl: Gl) {
    this.program = programOf(gl, VERTEX, FRAGMENT);
    this.uniform = uniformsOf(gl, this.program);
    this.columns = new FetchedTexture(gl, 0, 'table');
    this.rows = new FetchedTexture(gl, 1, 'table');
    this.units = new FetchedTexture(gl, 2, 'codes');
    this.clusters = new FetchedTexture(gl, 3, 'codes');
    this.busy = new FetchedTexture(gl, 4, 'codes');
    this.colours = new FetchedTexture(gl, 5, 'colours');
    this.digits = new FetchedTexture(gl, 6, 'shares');
    this.digits.put(1, 1, new Uint8Array(1));
  }

  /** Six digits side by side, each `size` pixels wide and high: how much of each pixel is ink. */
  putDigits(size: number, shares: Uint8Array): void {
    this.digits.put(6 * size, size, shares);
  }

  draw(scene: CellScene): void {
    this.upload(scene);
    const { gl, uniform } = this;
    gl.useProgram(this.program);
    const samplers = ['columns', 'rows', 'units', 'clusters', 'busy', 'colours', 'digits'];
    samplers.forEach((name, unit) => gl.uniform1i(uniform(name), unit));
    [this.columns, this.rows, this.units, this.clusters, this.busy, this.colours, this.digits].forEach(
      (texture) => texture.bind(),
    );
    this.putLook(scene);
    gl.disable(gl.BLEND);
    gl.drawArrays(gl.TRIANGLES, 0, 3);
  }

  private upload(scene: CellScene): void {
    const { last } = this;
    if (scene.columns !== last.columns) {
      this.columns.put(scene.columns.pixels, 2, scene.columns.words);
    }
    if (scene.rows !== last.rows) {
      this.rows.put(scene.rows.pixels, 2, scene.rows.words);
    }
    if (scene.units.codes !== last.units?.codes) {
      this.units.put(scene.units.columns, scene.units.rows, scene.units.codes);
    }
    if (scene.clusters.codes !== last.clusters?.codes) {
      this.clusters.put(scene.clusters.columns, scene.clusters.rows, scene.clusters.codes);
    }
    if (scene.busy.codes !== last.busy?.codes) {
      this.busy.put(scene.busy.columns, scene.busy.rows, scene.busy.codes);
    }
    if (scene.look.colours !== last.look?.colours) {
      this.colours.put(256, PALETTE_ROWS, scene.look.colours);
    }
    this.last = scene;
  }

  private putLook(scene: CellScene): void {
    const { gl, uniform } = this;
    const { look } = scene;
    const part = (channel: number) => channel / 255;
    gl.uniform1fv(uniform('sides'), Float32Array.from({ length: 6 }, (_, i) => look.sides[i] ?? 1));
    gl.uniform3fv(uniform('paper'), look.paper.map(part));
    gl.uniform3fv(uniform('page'), scene.page.map(part));
    gl.uniform3fv(uniform('outline'), look.outline.map(part));
    gl.uniform1i(uniform('height'), scene.rows.pixels);
    gl.uniform1i(uniform('hollow'), scene.hollow ? 1 : 0);
    gl.uniform1i(uniform('outlines'), scene.outlines ? 1 : 0);
    gl.uniform1i(uniform('digit'), scene.digit);
    gl.uniform1i(uniform('edge'), scene.edge);
    const [x, y, width, height, radius] = scene.sheet ?? [-1e6, -1e6, 1, 1, 0];
    gl.uniform4f(uniform('sheet'), x, y, width, height);
    gl.uniform1f(uniform('radius'), radius);
  }
}
