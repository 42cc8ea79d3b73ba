import type { Layout } from '../../base/floorplan/layout';
import { LEAST_FRAMED } from '../../base/floorplan/layout';
import { columnTable, rowTable, type PixelTable } from '../../base/floorplan/pixelTable';
import { memo } from '../../base/memo';
import type { Picture } from '../../base/picture';
import {
  dimmedLook,
  heatLook,
  kindLook,
  shareLook,
  threadLook,
  viewerLook,
  type ViewerColours,
} from '../../gl/cellLooks';
import type { CellLook, CellScene, Codes } from '../../gl/cells';
import { busyClusters, commonCodes, heatCodes, threadCodes } from '../../gl/unitCodes';
import type { Palette } from '../../theme/palettes';

/** What the cells are drawn from. Equal parts are the same objects, so that they are kept. */
export interface CellInput {
  readonly layout: Layout;
  readonly picture: Picture;
  readonly palette: Palette;
  readonly page: readonly [number, number, number];
  readonly colourBy: 'thread' | 'kind' | 'heat' | 'nothing';
  readonly lit: number | undefined;
  /** Whether all of it is dimmed, beside what is shown on top. */
  readonly dimmed: boolean;
  readonly viewer: ViewerColours | undefined;
  /** A code of the kind of each element. */
  readonly kinds: Uint8Array | undefined;
  readonly heat: { readonly values: Float64Array; readonly end: number } | undefined;
  /** Routers of a mesh are drawn instead of cells. */
  readonly bare: boolean;
}

export const DIGIT_PITCH = 22; // CSS pixels
const HOLLOW_PITCH = 8;

const none = (layout: Layout, length: number): Codes => {
  const columns = length === 0 ? layout.shape.clusters[0] : 1;
  return { columns, rows: 1, codes: new Uint8Array(columns) };
};

/** Makes the scene of the cells, anew only what has changed. */
export class SceneMaker {
  private readonly columns = memo((layout: Layout): PixelTable => columnTable(layout));
  private readonly rows = memo((layout: Layout): PixelTable => rowTable(layout));
  private readonly threads = memo((layout: Layout, elements: Uint8Array) =>
    threadCodes(layout.shape, layout.grain, elements),
  );
  private readonly viewers = memo((layout: Layout, elements: Uint8Array) =>
    commonCodes(layout.shape, layout.grain, elements),
  );
  private readonly kinds = memo((layout: Layout, elements: Uint8Array) =>
    commonCodes(layout.shape, layout.grain, elements),
  );
  private readonly heats = memo((layout: Layout, values: Float64Array, end: number) =>
    heatCodes(layout.shape, layout.grain, values, end),
  );
  private readonly blanks = memo((layout: Layout) =>
    threadCodes(layout.shape, layout.grain, new Uint8Array(layout.columns.elements * layout.rows.elements)),
  );
  private readonly busy = memo((layout: Layout, units: Codes) =>
    busyClusters(layout.shape, layout.grain, units),
  );
  private readonly threadLooks = memo(threadLook);
  private readonly shareLooks = memo(shareLook);
  private readonly heatLooks = memo(heatLook);
  private readonly kindLooks = memo(kindLook);
  private readonly viewerLooks = memo(viewerLook);
  private readonly dimmedLooks = memo(dimmedLook);
  private readonly switches = memo((layout: Layout, codes: Uint8Array): Codes => {
    const [columns, rows] = layout.shape.clusters;
    return codes.length === columns * rows ? { columns, rows, codes } : none(layout, 0);
  });

  /** The tables of pixels, by which the pointer finds units too. */
  tables(layout: Layout): { readonly columns: PixelTable; readonly rows: PixelTable } {
    return { columns: this.columns(layout), rows: this.rows(layout) };
  }

  make(input: CellInput): CellScene {
    const { layout, picture } = input;
    const units = this.unitsOf(input);
    const { ratio } = layout.look;
    const cluster = layout.cluster({ column: 0, row: 0 });
    const framed = Math.min(cluster.width, cluster.height) >= LEAST_FRAMED * ratio;
    // Blocks leave their elements' room white: the frame tells where the mesh is.
    const edged = layout.level === 'block' || (!layout.isFlat && layout.shape.clusters[0] * layout.shape.clusters[1] > 1);
    const plain = input.viewer === undefined;
    return {
      ...this.tables(layout),
      units,
      clusters: this.switches(layout, picture.switches),
      busy: this.busy(layout, units),
      look: input.dimmed ? this.dimmedLooks(this.lookOf(input)) : this.lookOf(input),
      hollow: plain && layout.level === 'pe' && layout.cssPitch >= HOLLOW_PITCH,
      outlines: !plain || (framed && edged),
      digit: plain && layout.cssPitch >= DIGIT_PITCH ? digitSize(layout) : 0,
      edge: Math.max(1, Math.round(ratio)),
      page: input.page,
      sheet: layout.look.plan === 'viewer' ? sheetOf(layout) : undefined,
    };
  }

  private unitsOf(input: CellInput): Codes {
    const { layout, picture, heat } = input;
    if (input.bare) {
      return this.blanks(layout);
    }
    if (input.viewer !== undefined) {
      return this.viewers(layout, picture.elements);
    }
    if (input.colourBy === 'heat' && heat !== undefined) {
      return this.heats(layout, heat.values, heat.end);
    }
    if (input.colourBy === 'kind' && input.kinds?.length === picture.elements.length) {
      return this.kinds(layout, input.kinds);
    }
    return input.colourBy === 'thread' ? this.threads(layout, picture.elements) : this.blanks(layout);
  }

  private lookOf(input: CellInput): CellLook {
    const { layout, palette, viewer } = input;
    const pe = layout.level === 'pe';
    if (input.bare) {
      return this.heatLooks(palette, false);
    }
    if (viewer !== undefined) {
      return this.viewerLooks(viewer);
    }
    if (input.colourBy === 'kind') {
      return this.kindLooks(palette, pe);
    }
    if (input.colourBy === 'heat') {
      return this.heatLooks(palette, pe);
    }
    return pe ? this.threadLooks(palette, input.lit) : this.shareLooks(palette, input.lit);
  }
}

/** Pixels of a digit's square: a digit is 0.45 of the pitch high. */
export const digitSize = (layout: Layout): number => Math.max(8, Math.round(0.5 * layout.look.pitch));

/** The white paper under the array and its numbers, as the viewer's window is white. */
function sheetOf(layout: Layout): readonly [number, number, number, number, number] {
  const { x, y, width, height } = layout.box;
  const { ratio } = layout.look;
  const [left, below, rest] = [38 * ratio, 30 * ratio, 12 * ratio];
  return [x - left, y - rest, width + left + rest, height + below + rest, 6 * ratio];
}
