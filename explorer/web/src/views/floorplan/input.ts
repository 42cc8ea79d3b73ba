import type { Stage } from '../../base/camera';
import { fitPitch, lookOf } from '../../base/camera';
import { memo } from '../../base/memo';
import { Layout, type Box, type Plan } from '../../base/floorplan/layout';
import { columnsOf, isFlat, unitSpan, type Shape } from '../../base/shape';
import { ARC_OUT, barsOf, meshPlace, type LinkLoads } from '../../gl/linkShapes';
import type { Explorer } from '../../model/explorer';
import { PALETTES, type Palette } from '../../theme/palettes';
import { boxOfPiece, firstElement } from './pick';
import type { FloorplanInput } from './renderer';
import type { Answer, TraceHead } from '../../protocol/answers';
import type { Piece } from '../../protocol/questions';

/** Everything that the floorplan is drawn from, read from the stores in one place. */

export const MARGIN = 26; // CSS pixels left free around a fitted array

/** Where links go around the edge, there is room for their arcs. */
function roomFor(explorer: Explorer, shape: Shape, stage: Stage): Stage {
  const head = explorer.trace.head.value;
  if (explorer.view.asViewer.value || head === undefined || !(head.wrapColumns || head.wrapRows)) {
    return stage;
  }
  const out = isFlat(shape) ? ARC_OUT : 0; // those of switches begin within the array
  return { ...stage, around: [head.wrapColumns ? out : 0, head.wrapRows ? out : 0] };
}

/** The viewer's picture is the viewer's. */
const planOf = ({ view, trace }: Explorer): Plan => (view.asViewer.value ? 'viewer' : trace.flat.value ? 'flat' : 'natural');

export function layoutOf(explorer: Explorer, stage: Stage): Layout | undefined {
  const shape = explorer.trace.shape.value;
  if (shape === undefined || stage.width < 1 || stage.height < 1) {
    return undefined;
  }
  return new Layout(shape, lookOf(shape, planOf(explorer), roomFor(explorer, shape, stage), explorer.view.camera.value));
}

export const paletteOf = (explorer: Explorer): Palette =>
  PALETTES[explorer.view.asViewer.value ? 'light' : explorer.settings.theme.value];

const keptLoads = memo((answer: Answer<'links'>, head: TraceHead, end: number): LinkLoads => {
  const { right, left, up, down } = answer.columns;
  return {
    ...answer.head.mesh,
    loads: { right, left, up, down },
    end,
    wrapColumns: head.wrapColumns,
    wrapRows: head.wrapRows,
  };
});

export function loadsOf(explorer: Explorer): LinkLoads | undefined {
  const answer = explorer.layers.links.answer.value;
  const head = explorer.trace.head.value;
  return !explorer.view.linkLoad.value || answer === undefined || head === undefined
    ? undefined
    : keptLoads(answer, head, explorer.layers.loadEnd);
}

/** The bars of all links; there are four a node, so that they are made only where they differ. */
const keptBars = memo((layout: Layout, loads: LinkLoads) => {
  const place = meshPlace(layout, loads.of);
  return { loads, place, bars: barsOf(loads, place, layout.look.ratio) };
});

/** Fires and the like by element; transmissions are told by cluster, and shown on all of it. */
function heatOf(explorer: Explorer, shape: Shape): { values: Float64Array; end: number } | undefined {
  const answer = explorer.layers.heat.answer.value;
  if (explorer.view.colourBy.value !== 'heat' || answer === undefined) {
    return undefined;
  }
  const { count } = answer.columns;
  const columns = columnsOf(shape);
  const span = unitSpan(shape, 'cluster');
  const spread = (element: number): number => {
    const column = Math.floor((element % columns) / span[0]);
    const row = Math.floor(Math.floor(element / columns) / span[1]);
    return count[row * shape.clusters[0] + column] ?? 0;
  };
  const elements = columns * shape.clusters[1] * span[1];
  const values = count.length === elements ? count : Float64Array.from({ length: elements }, (_, i) => spread(i));
  return { values, end: answer.head.end };
}

const heatMemo = new WeakMap<object, { values: Float64Array; end: number }>();

/** The same object for the same answer, so that nothing is made anew for it. */
export function keptHeat(explorer: Explorer, shape: Shape): { values: Float64Array; end: number } | undefined {
  const answer = explorer.layers.heat.answer.value;
  const known = answer === undefined ? undefined : heatMemo.get(answer);
  if (known !== undefined && explorer.view.colourBy.value === 'heat') {
    return known;
  }
  const heat = heatOf(explorer, shape);
  if (heat !== undefined && answer !== undefined) {
    heatMemo.set(answer, heat);
  }
  return heat;
}

function chipsOf(layout: Layout, piece: Piece | undefined): { column: number; row: number } | undefined {
  return piece === undefined || layout.isFlat && 'link' in piece ? undefined : firstElement(layout, piece);
}

/** `band` is the rectangle that is being drawn by hand. */
export function inputOf(explorer: Explorer, layout: Layout, font: string, rem: number, band: Box | undefined): FloorplanInput | undefined {
  const picture = explorer.playback.picture.value;
  const { view, selection, layers, settings } = explorer;
  const viewerColours = layers.palette.answer.value?.columns;
  const asViewer = view.asViewer.value;
  if (picture === undefined || (asViewer && viewerColours === undefined)) {
    return undefined;
  }
  const palette = paletteOf(explorer);
  const loads = loadsOf(explorer);
  const links = loads && keptBars(layout, loads);
  const bars = links?.bars ?? [];
  const of = loads?.of ?? 'elements';
  const piece = selection.piece.value;
  const hovered = selection.hovered.value;
  const boxOf = (of_: Piece) => boxOfPiece(layout, of_, bars, of);
  const path = explorer.causes.path.value;
  return {
    cells: {
      layout,
      picture,
      palette,
      page: PALETTES[settings.theme.value].paper,
      colourBy: view.colourBy.value,
      lit: view.litThread.value,
      dimmed: path !== undefined,
      viewer: asViewer && view.colourBy.value === 'thread' ? viewerColours : undefined,
      kinds: layers.kinds.answer.value?.columns.elements,
      heat: keptHeat(explorer, layout.shape),
      bare: loads?.of === 'elements',
    },
    overlay: {
      layout,
      palette,
      font,
      rem,
      selected: rectBox(explorer, layout) ?? (piece && boxOf(piece)),
      chips: chipsOf(layout, piece),
      hovered: hovered && boxOf(hovered),
      band,
      links: loads,
      bars,
      path: path === undefined ? [] : path,
      numbered: explorer.causes.isChain.value,
      fires: explorer.causes.fires.value,
    },
    messages: view.messages.value,
    switches: view.switches.value && loads?.of !== 'elements',
    links,
    strength: path === undefined ? 1 : 0.2,
  };
}

function rectBox(explorer: Explorer, layout: Layout): Box | undefined {
  const selected = explorer.selection.selected.value;
  if (selected === undefined || !('rect' in selected)) {
    return undefined;
  }
  const first = layout.element(selected.rect.first);
  const last = layout.element(selected.rect.last);
  return { x: first.x, y: last.y, width: last.x + last.width - first.x, height: first.y + first.height - last.y };
}

/** CSS pixels from one element to the next where all of the array is seen. */
export function fitOf(explorer: Explorer, stage: Stage): number {
  const shape = explorer.trace.shape.value;
  return shape === undefined ? 1 : fitPitch(shape, planOf(explorer), roomFor(explorer, shape, stage));
}
