// The few calls of WebGL2 that all programs need. Nothing here reads a store: what is drawn comes
// in typed arrays, and is kept by its owner, so that a lost context can be filled again.

export type Gl = WebGL2RenderingContext;

export function openContext(canvas: HTMLCanvasElement): Gl | undefined {
  const gl = canvas.getContext('webgl2', {
    alpha: false,
    antialias: false,
    depth: false,
    stencil: false,
    preserveDrawingBuffer: true,
  });
  return gl ?? undefined;
}

function shaderOf(gl: Gl, type: number, source: string): WebGLShader {
  const shader = gl.createShader(type);
  if (shader === null) {
    throw new Error('the context is lost');
  }
  gl.shaderSource(shader, `#version 300 es\n${source}`);
  gl.compileShader(shader);
  return shader;
}

/** A program of two sources. Errors are told by linking, since a lost context compiles nothing. */
export function programOf(gl: Gl, vertex: string, fragment: string): WebGLProgram {
  const program = gl.createProgram();
  const shaders = [shaderOf(gl, gl.VERTEX_SHADER, vertex), shaderOf(gl, gl.FRAGMENT_SHADER, fragment)];
  shaders.forEach((shader) => gl.attachShader(program, shader));
  gl.linkProgram(program);
  if (gl.getProgramParameter(program, gl.LINK_STATUS) !== true && !gl.isContextLost()) {
    const logs = shaders.map((shader) => gl.getShaderInfoLog(shader));
    throw new Error(`a shader does not build: ${logs.join(' ')}`);
  }
  return program;
}

export type Uniforms = (name: string) => WebGLUniformLocation | null;

/** The places of a program's uniforms, looked up once each. */
export function uniformsOf(gl: Gl, program: WebGLProgram): Uniforms {
  const known = new Map<string, WebGLUniformLocation | null>();
  return (name) => {
    if (!known.has(name)) {
      known.set(name, gl.getUniformLocation(program, name));
    }
    return known.get(name) ?? null;
  };
}

export type TextureKind = 'codes' | 'colours' | 'table' | 'shares';

/** A texture whose texels are fetched by number, and never mixed with their neighbours. */
export class FetchedTexture {
  private readonly texture: WebGLTexture;
  private width = 0;
  private height = 0;

  constructor(
    private readonly gl: Gl,
    private readonly unit: number,
    private readonly kind: TextureKind,
  ) {
    this.texture = gl.createTexture();
    gl.activeTexture(gl.TEXTURE0 + unit);
    gl.bindTexture(gl.TEXTURE_2D, this.texture);
    for (const [name, value] of [
      [gl.TEXTURE_MIN_FILTER, gl.NEAREST],
      [gl.TEXTURE_MAG_FILTER, gl.NEAREST],
      [gl.TEXTURE_WRAP_S, gl.CLAMP_TO_EDGE],
      [gl.TEXTURE_WRAP_T, gl.CLAMP_TO_EDGE],
    ] as const) {
      gl.texParameteri(gl.TEXTURE_2D, name, value);
    }
  }

  /** Replaces what it holds; takes new room only where the size is another one. */
  put(width: number, height: number, data: ArrayBufferView): void {
    const { gl } = this;
    const [inside, format, type] = this.format();
    gl.activeTexture(gl.TEXTURE0 + this.unit);
    gl.bindTexture(gl.TEXTURE_2D, this.texture);
    gl.pixelStorei(gl.UNPACK_ALIGNMENT, 1);
    if (width === this.width && height === this.height) {
      gl.texSubImage2D(gl.TEXTURE_2D, 0, 0, 0, width, height, format, type, data);
    } else {
      gl.texImage2D(gl.TEXTURE_2D, 0, inside, width, height, 0, format, type, data);
      this.width = width;
      this.height = height;
    }
  }

  bind(): void {
    this.gl.activeTexture(this.gl.TEXTURE0 + this.unit);
    this.gl.bindTexture(this.gl.TEXTURE_2D, this.texture);
  }

  private format(): readonly [number, number, number] {
    const { gl } = this;
    switch (this.kind) {
      case 'codes':
        return [gl.R8UI, gl.RED_INTEGER, gl.UNSIGNED_BYTE];
      case 'colours':
        return [gl.RGBA8, gl.RGBA, gl.UNSIGNED_BYTE];
      case 'table':
        return [gl.RGBA32I, gl.RGBA_INTEGER, gl.INT];
      case 'shares':
        return [gl.R8, gl.RED, gl.UNSIGNED_BYTE];
    }
  }
}
