import { cycleAt, panned, xOf, zoomed, type TimeWindow } from '../../base/timeScale';
import type { CycleSpan } from '../../model/timeStore';
import type { TimelineScene } from './scene';
import { snappedEdge } from './snap';
import type { Zone } from './zones';

/** Where the hand is, in pixels from the left, and whether edges may snap. */
export interface Hand {
  readonly x: number;
  readonly snapping: boolean;
}

/** A drag in work: what a move of the hand does. */
export type Drag = (hand: Hand) => void;

/** The edges that a hand's edge snaps to. */
function edgesOf(scene: TimelineScene): bigint[] {
  const { marks, cycle } = scene.over.peek();
  const { phases } = scene.strips.peek();
  return [
    cycle,
    cycle + 1n,
    ...marks.map((mark) => mark.cycle),
    ...phases.flatMap(({ first, last }) => [first, last + 1n]),
  ];
}

function edgeUnder(scene: TimelineScene, hand: Hand): bigint {
  const { view, size } = scene.frame.peek();
  const edge = snappedEdge(view, size.width, hand.x, edgesOf(scene), hand.snapping);
  const { first, last } = scene.page.timeline.mover.bounds;
  return edge < first ? first : edge > last + 1n ? last + 1n : edge;
}

/** The range from an edge that stays to where the hand is. */
function spanDrag(scene: TimelineScene, anchor: bigint): Drag {
  return (hand) => {
    const edge = edgeUnder(scene, hand);
    if (edge !== anchor) {
      const [first, end] = edge < anchor ? [edge, anchor] : [anchor, edge];
      scene.page.explorer.time.range.value = { first, last: end - 1n };
    }
  };
}

/** The range from where the hand came down to where it is. */
export function rangeDrag(scene: TimelineScene, from: Hand): Drag {
  return spanDrag(scene, edgeUnder(scene, from));
}

/** One edge of the range; dragged over the other one it becomes that one. */
export function edgeDrag(scene: TimelineScene, range: CycleSpan, side: 'left' | 'right'): Drag {
  return spanDrag(scene, side === 'left' ? range.last + 1n : range.first);
}

export function panDrag(scene: TimelineScene, from: Hand): Drag {
  const { view, size } = scene.frame.peek();
  return (hand) => scene.page.timeline.mover.set(panned(view, ((from.x - hand.x) / size.width) * view.span));
}

/** Goes to the cycle under the hand. */
export function scrub(scene: TimelineScene, x: number): void {
  const { view, size } = scene.frame.peek();
  scene.page.travel.goToCycle(cycleAt(view, size.width, x));
}

export const scrubDrag =
  (scene: TimelineScene): Drag =>
  (hand) =>
    scrub(scene, hand.x);

/** A window between two points of the overview. */
function windowBetween(whole: TimeWindow, width: number, a: number, b: number): TimeWindow {
  const [left, right] = [Math.min(a, b) / width, Math.max(a, b) / width];
  const span = Math.max(right - left, 1e-12) * whole.span;
  return panned({ ...whole, span }, left * whole.span);
}

/** The frame of the overview: moved, one side of it, or a new one. */
export function frameDrag(scene: TimelineScene, zone: Zone['kind'], from: Hand): Drag {
  const { view, whole, size } = scene.frame.peek();
  const { mover } = scene.page.timeline;
  const { width } = size;
  const left = xOf(whole, width, view.start) + (view.fraction / whole.span) * width;
  const right = left + (view.span / whole.span) * width;
  switch (zone) {
    case 'frame':
      return (hand) => mover.set(panned(view, ((hand.x - from.x) / width) * whole.span));
    case 'frameLeft':
      return (hand) => mover.set(windowBetween(whole, width, hand.x, right));
    case 'frameRight':
      return (hand) => mover.set(windowBetween(whole, width, left, hand.x));
    default:
      return (hand) => mover.set(windowBetween(whole, width, from.x, hand.x));
  }
}

/** The window stands round a point of the overview. */
export function centreOn(scene: TimelineScene, x: number): void {
  const { view, whole, size } = scene.frame.peek();
  const at = (x / size.width) * whole.span - view.span / 2;
  scene.page.timeline.mover.set(panned({ ...whole, span: view.span }, at));
}

/** Two fingers: what was under each stays under it. */
export function pinchDrag(scene: TimelineScene, a: number, b: number): (a: number, b: number) => void {
  const { view, size } = scene.frame.peek();
  const { width } = size;
  const before = Math.max(1, Math.abs(b - a));
  const middle = (a + b) / 2;
  return (toA, toB) => {
    const factor = before / Math.max(1, Math.abs(toB - toA));
    const scaled = zoomed(view, factor, middle / width);
    const moved = ((middle - (toA + toB) / 2) / width) * scaled.span;
    scene.page.timeline.mover.set(panned(scaled, moved));
  };
}
