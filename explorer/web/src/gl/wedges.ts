import { programOf, uniformsOf, type Gl, type Uniforms } from './context';

/** Numbers of a wedge in the list that is drawn. */
export const WEDGE_WORDS = 14;

/**
 * Shapes along a line, in device pixels from the upper left corner: a body that narrows from half
 * width `start` to `neck`, then a head of `head` pixels that begins `left` and `right` of the line
 * and comes to its point `tip` to the right of it. Messages, bars of link load and switches are such
 * shapes.
 */
export class WedgeList {
  private words = new Float32Array(WEDGE_WORDS * 256);
  count = 0;

  clear(): void {
    this.count = 0;
  }

  add(
    line: readonly [number, number, number, number],
    shape: { readonly start: number; readonly neck: number; readonly head: number; readonly left: number; readonly right: number; readonly tip: number },
    color: readonly [number, number, number],
    alpha: number,
  ): void {
    if ((this.count + 1) * WEDGE_WORDS > this.words.length) {
      const larger = new Float32Array(2 * this.words.length);
      larger.set(this.words);
      this.words = larger;
    }
    // One by one: thousands of small arrays a picture would keep the collector busy while a hand pans.
    const { words } = this;
    let at = this.count * WEDGE_WORDS;
    for (let i = 0; i < 4; ++i) {
      words[at++] = line[i]!;
    }
    words[at++] = shape.start;
    words[at++] = shape.neck;
    words[at++] = shape.head;
    words[at++] = shape.left;
    words[at++] = shape.right;
    words[at++] = shape.tip;
    for (let i = 0; i < 3; ++i) {
      words[at++] = color[i]! / 255;
    }
    words[at] = alpha;
    this.count += 1;
  }

  get data(): Float32Array {
    return this.words.subarray(0, this.count * WEDGE_WORDS);
  }
}

const VERTEX = `
precision highp float;
layout(location = 0) in vec4 line;
layout(location = 1) in vec3 body;   // start, neck, head
layout(location = 2) in vec3 point;  // left, right, tip
layout(location = 3) in vec4 tint;
uniform vec2 size;
out vec2 at;
flat out vec4 shape;  // start, neck, head, length
flat out vec3 ends;
flat out vec4 ink;
void main() {
  vec2 way = line.zw - line.xy;
  float reach = max(length(way), 1e-6);
  vec2 ahead = way / reach;
  vec2 right = vec2(-ahead.y, ahead.x);
  float wide = max(max(body.x, body.y), max(point.x, point.y)) + 1.0;
  vec2 corner = vec2(gl_VertexID % 2, gl_VertexID / 2);
  at = vec2(mix(-1.0, reach + 1.0, corner.x), mix(-wide, wide, corner.y));
  vec2 spot = line.xy + ahead * at.x + right * at.y;
  gl_Position = vec4(spot.x / size.x * 2.0 - 1.0, 1.0 - spot.y / size.y * 2.0, 0, 1);
  shape = vec4(body, reach);
  ends = point;
  ink = tint;
}`;

// How much of the pixel is covered: along the line and across it, each to half a pixel.
const FRAGMENT = `
precision highp float;
in vec2 at;
flat in vec4 shape;
flat in vec3 ends;
flat in vec4 ink;
out vec4 color;
float between(float value, float from, float to) {
  return clamp(min(value - from, to - value) + 0.5, 0.0, min(1.0, to - from));
}
void main() {
  float neck = shape.w - shape.z;
  float done = clamp(at.x / max(neck, 1e-3), 0.0, 1.0);
  float half_ = mix(shape.x, shape.y, done);
  float body = between(at.x, 0.0, neck) * between(at.y, -half_, half_);
  float into = clamp((at.x - neck) / max(shape.z, 1e-3), 0.0, 1.0);
  float left = mix(-ends.x, ends.z, into);
  float right = mix(ends.y, ends.z, into);
  float head = shape.z > 0.0 ? between(at.x, neck, shape.w) * between(at.y, left, right) : 0.0;
  float cover = min(1.0, body + head);
  if (cover <= 0.0) {
    discard;
  }
  color = vec4(ink.rgb, ink.a * cover);
}`;

/** Draws a list of wedges, the first one at the bottom. */
export class WedgeProgram {
  private readonly program: WebGLProgram;
  private readonly uniform: Uniforms;
  private readonly array: WebGLVertexArrayObject;
  private readonly buffer: WebGLBuffer;

  constructor(private readonly gl: Gl) {
    this.program = programOf(gl, VERTEX, FRAGMENT);
    this.uniform = uniformsOf(gl, this.program);
    this.array = gl.createVertexArray();
    this.buffer = gl.createBuffer();
    gl.bindVertexArray(this.array);
    gl.bindBuffer(gl.ARRAY_BUFFER, this.buffer);
    let offset = 0;
    [4, 3, 3, 4].forEach((words, location) => {
      gl.enableVertexAttribArray(location);
      gl.vertexAttribPointer(location, words, gl.FLOAT, false, 4 * WEDGE_WORDS, 4 * offset);
      gl.vertexAttribDivisor(location, 1);
      offset += words;
    });
    gl.bindVertexArray(null);
  }

  draw(list: WedgeList, width: number, height: number): void {
    if (list.count === 0) {
      return;
    }
    const { gl } = this;
    gl.useProgram(this.program);
    gl.uniform2f(this.uniform('size'), width, height);
    gl.enable(gl.BLEND);
    gl.blendFunc(gl.SRC_ALPHA, gl.ONE_MINUS_SRC_ALPHA);
    gl.bindVertexArray(this.array);
    gl.bindBuffer(gl.ARRAY_BUFFER, this.buffer);
    gl.bufferData(gl.ARRAY_BUFFER, list.data, gl.STREAM_DRAW);
    gl.drawArraysInstanced(gl.TRIANGLE_STRIP, 0, 4, list.count);
    gl.bindVertexArray(null);
  }
}
