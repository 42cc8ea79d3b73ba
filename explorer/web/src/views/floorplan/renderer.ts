import type { Layout } from '../../base/floorplan/layout';
import type { Picture } from '../../base/picture';
import { CellProgram } from '../../gl/cells';
import { messageColour } from '../../gl/cellLooks';
import { openContext, type Gl } from '../../gl/context';
import { addBars, type Bar, type LinkLoads, type MeshPlace } from '../../gl/linkShapes';
import { addBands, addMessages } from '../../gl/messageShapes';
import { addSwitches } from '../../gl/switchShapes';
import { WedgeList, WedgeProgram } from '../../gl/wedges';
import { digitShares } from './digits';
import { drawOverlay, type OverlayInput } from './overlay';
import { digitSize, SceneMaker, type CellInput } from './scene';

export interface FloorplanInput {
  readonly cells: CellInput;
  readonly overlay: OverlayInput;
  readonly messages: boolean;
  readonly switches: boolean;
  readonly links: { readonly loads: LinkLoads; readonly place: MeshPlace; readonly bars: readonly Bar[] } | undefined;
  /** 1, or less where something else is looked at. */
  readonly strength: number;
}

/** No thread: all are dimmed. */
const NOBODY = -1;

interface Programs {
  readonly cells: CellProgram;
  readonly wedges: WedgeProgram;
}

/** Two canvases, one over the other: cells and lines by WebGL2, numbers and rings over them. */
export class FloorplanRenderer {
  readonly maker = new SceneMaker();
  private readonly list = new WedgeList();
  private readonly gl: Gl | undefined;
  private readonly context: CanvasRenderingContext2D | null;
  private programs: Programs | undefined;
  private digits = 0;

  constructor(
    private readonly canvas: HTMLCanvasElement,
    private readonly overlay: HTMLCanvasElement,
    restored: () => void,
  ) {
    this.gl = openContext(canvas);
    this.context = overlay.getContext('2d');
    canvas.style.visibility = 'hidden'; // black until something is drawn
    canvas.addEventListener('webglcontextlost', (event) => {
      event.preventDefault();
      this.programs = undefined;
    });
    canvas.addEventListener('webglcontextrestored', restored);
  }

  /** Whether there is WebGL2 at all. */
  get works(): boolean {
    return this.gl !== undefined;
  }

  draw(input: FloorplanInput): void {
    const { look } = input.cells.layout;
    this.canvas.style.visibility = '';
    this.resize(look.width, look.height, look.ratio);
    if (this.context !== null) {
      this.context.clearRect(0, 0, look.width, look.height);
      drawOverlay(this.context, input.overlay);
    }
    if (this.gl === undefined || this.gl.isContextLost()) {
      return;
    }
    const programs = this.start(this.gl);
    this.gl.viewport(0, 0, look.width, look.height);
    this.putDigits(programs, input);
    programs.cells.draw(this.maker.make(input.cells));
    this.list.clear();
    addLines(this.list, input);
    programs.wedges.draw(this.list, look.width, look.height);
  }

  private start(gl: Gl): Programs {
    if (this.programs === undefined) {
      this.programs = { cells: new CellProgram(gl), wedges: new WedgeProgram(gl) };
      this.digits = 0;
    }
    return this.programs;
  }

  /** Whole pixels, and no new canvas where the size stays. */
  private resize(width: number, height: number, ratio: number): void {
    for (const canvas of [this.canvas, this.overlay]) {
      if (canvas.width !== width || canvas.height !== height) {
        canvas.width = width;
        canvas.height = height;
      }
      canvas.style.width = `${width / ratio}px`;
      canvas.style.height = `${height / ratio}px`;
    }
  }

  private putDigits(programs: Programs, input: FloorplanInput): void {
    const size = digitSize(input.cells.layout);
    if (size !== this.digits) {
      programs.cells.putDigits(size, digitShares(size, input.overlay.font));
      this.digits = size;
    }
  }
}

/** Links, switches and messages, as far as they are drawn at this level. */
export function addLines(list: WedgeList, input: FloorplanInput): void {
  const { layout, picture, palette, lit, dimmed } = input.cells;
  if (input.links !== undefined) {
    addBars(list, input.links.bars, input.links.place, layout.look.ratio, palette);
  }
  if (layout.level !== 'pe') {
    return;
  }
  if (input.switches && !layout.isFlat && layout.look.plan !== 'viewer') {
    addSwitches(list, layout, picture.switches, palette, dimmed ? NOBODY : lit);
  }
  if (input.messages) {
    addAllMessages(list, input, layout, picture);
  }
}

function addAllMessages(list: WedgeList, input: FloorplanInput, layout: Layout, picture: Picture): void {
  const { viewer, palette } = input.cells;
  if (viewer !== undefined) {
    addBands(list, layout, picture.messages, (age) => messageColour(viewer, age));
  } else {
    addMessages(list, layout, picture.messages, palette.ink, input.strength);
  }
}
