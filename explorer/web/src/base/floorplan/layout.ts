import type { Place } from '../place';
import { columnsOf, grainOf, isFlat, rowsOf, switchesOf, type Grain, type Shape } from '../shape';
import { Halves, NaturalAxis, VIEWER_PITCH, ViewerAxis, type Axis, type Stretch } from './axis';

/** A rectangle of device pixels from the upper left corner of the canvas. */
export interface Box {
  readonly x: number;
  readonly y: number;
  readonly width: number;
  readonly height: number;
}

export interface Spot {
  readonly x: number;
  readonly y: number;
}

/** How an array is laid out: with gaps between domains and clusters, without any, or as the viewer does. */
export type Plan = 'natural' | 'flat' | 'viewer';

/** What of the array is looked at, in device pixels. */
export interface Look {
  readonly plan: Plan;
  /** From one element to the next. */
  readonly pitch: number;
  /** Of the canvas. */
  readonly width: number;
  readonly height: number;
  /** Where the array's left and lower edge lie on the canvas, from its left and upper edge. */
  readonly left: number;
  readonly bottom: number;
  /** Device pixels a CSS pixel. */
  readonly ratio: number;
}

export const LEAST_PITCH = 4; // CSS pixels from which a unit is drawn
export const LEAST_FRAMED = 24; // of a cluster: frames of smaller ones hide what is in them

/** Elements along a side of the smallest blocks that are at least 4 CSS pixels apart: a power of two. */
const blockSide = (pitch: number): number => 2 ** Math.ceil(Math.log2(LEAST_PITCH / pitch));

/**
 * The finest units that are at least 4 CSS pixels apart. A mesh has none but its elements, and is
 * drawn in blocks of them, as is any array without gaps.
 */
export function grainAt(shape: Shape, plan: Plan, pitch: number): Grain {
  if (pitch >= LEAST_PITCH) {
    return grainOf(shape, 'pe');
  }
  if (isMesh(shape, plan)) {
    const side = blockSide(pitch);
    return { of: 'block', span: [side, side] };
  }
  const domain = pitch * Math.min(shape.pes[0], shape.pes[1]);
  return grainOf(shape, domain >= LEAST_PITCH ? 'domain' : 'cluster');
}

const isMesh = (shape: Shape, plan: Plan): boolean => plan === 'flat' || isFlat(shape);

/** The natural floorplan along an axis. */
function halvesOf(shape: Shape, plan: Plan, i: 0 | 1): Halves {
  const gaps = plan === 'flat' ? 'none' : switchesOf(shape) > 1 ? 'framed' : 'inside';
  return new Halves(shape.clusters[i], shape.domains[i], shape.pes[i], gaps);
}

/** How long the array is along an axis for a pitch of 1. */
export function lengthsOf(shape: Shape, plan: Plan): readonly [number, number] {
  const along = (i: 0 | 1) =>
    plan === 'viewer'
      ? ViewerAxis.units(shape.clusters[i], shape.domains[i], shape.pes[i]) / VIEWER_PITCH
      : halvesOf(shape, plan, i).length / 2;
  return [along(0), along(1)];
}

/** Pixels between cells: 1, from 18 CSS pixels on 2. */
export function gapAt(pitch: number, ratio: number): number {
  if (pitch < LEAST_PITCH * ratio) {
    return 0;
  }
  return Math.max(1, Math.round((pitch >= 18 * ratio ? 2 : 1) * ratio));
}

/** Where everything of an array lies on a canvas: column 0 at the left, row 0 below. */
export class Layout {
  readonly columns: Axis;
  readonly rows: Axis;
  readonly grain: Grain;
  readonly gap: number;

  constructor(
    readonly shape: Shape,
    readonly look: Look,
  ) {
    this.gap = gapAt(look.pitch, look.ratio);
    this.columns = this.axisOf(0);
    this.rows = this.axisOf(1);
    this.grain = grainAt(shape, look.plan, look.pitch / look.ratio);
  }

  /** Whether it is another one of the same: what is made of one need not be made anew. */
  equals(other: Layout): boolean {
    return this.shape === other.shape && JSON.stringify(this.look) === JSON.stringify(other.look);
  }

  /** Of what is drawn as one. */
  get level(): Grain['of'] {
    return this.grain.of;
  }

  /** A mesh, or drawn as one: neither gaps nor outlines, and no switches. */
  get isFlat(): boolean {
    return isMesh(this.shape, this.look.plan);
  }

  /** CSS pixels from one element to the next. */
  get cssPitch(): number {
    return this.look.pitch / this.look.ratio;
  }

  element(place: Place): Box {
    return this.boxOf(this.columns.element(place.column), this.rows.element(place.row));
  }

  domain(place: Place): Box {
    return this.boxOf(this.columns.domain(place.column), this.rows.domain(place.row));
  }

  cluster(place: Place): Box {
    return this.boxOf(this.columns.cluster(place.column), this.rows.cluster(place.row));
  }

  /** What is drawn as one. */
  unit(place: Place): Box {
    return this.boxOf(this.unitAlong(0, place.column), this.unitAlong(1, place.row));
  }

  /** Where a unit lies along an axis. */
  unitAlong(i: 0 | 1, number: number): Stretch {
    const axis = i === 0 ? this.columns : this.rows;
    if (this.level === 'domain' || this.level === 'cluster') {
      return axis[this.level](number);
    }
    const side = this.grain.span[i];
    const count = i === 0 ? columnsOf(this.shape) : rowsOf(this.shape);
    return axis.elementsFrom(number * side, Math.min(count, (number + 1) * side) - 1);
  }

  middle(place: Place): Spot {
    return middleOf(this.element(place));
  }

  switchMiddle(cluster: Place): Spot {
    return {
      x: this.look.left + this.columns.switchMiddle(cluster.column),
      y: this.look.bottom - this.rows.switchMiddle(cluster.row),
    };
  }

  /** Half of what a switch has room for. */
  get switchRadius(): number {
    const cross = this.shape.domains[0] > 1 && this.shape.domains[1] > 1;
    return Math.max(1, (cross ? this.look.pitch : this.look.pitch / 2) / 2);
  }

  /** All of the array. */
  get box(): Box {
    return this.boxOf({ start: 0, end: this.columns.length }, { start: 0, end: this.rows.length });
  }

  private axisOf(i: 0 | 1): Axis {
    const { clusters, domains, pes } = this.shape;
    return this.look.plan === 'viewer'
      ? new ViewerAxis(clusters[i], domains[i], pes[i], this.look.pitch / VIEWER_PITCH)
      : new NaturalAxis(halvesOf(this.shape, this.look.plan, i), this.look.pitch, this.gap);
  }

  private boxOf(across: Stretch, up: Stretch): Box {
    return {
      x: this.look.left + across.start,
      y: this.look.bottom - up.end,
      width: across.end - across.start,
      height: up.end - up.start,
    };
  }
}

export const middleOf = (box: Box): Spot => ({ x: box.x + box.width / 2, y: box.y + box.height / 2 });
