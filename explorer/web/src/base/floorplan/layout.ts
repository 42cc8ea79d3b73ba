import type { Place } from '../place';
import { isFlat, switchesOf, type Level, type Shape } from '../shape';
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

/** What of the array is looked at, in device pixels. */
export interface Look {
  readonly asViewer: boolean;
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

/** The finest level of which units are at least 4 CSS pixels apart. */
export function levelAt(shape: Shape, pitch: number): Level {
  if (pitch >= LEAST_PITCH) {
    return 'pe';
  }
  const domain = pitch * Math.min(shape.pes[0], shape.pes[1]);
  return domain >= LEAST_PITCH ? 'domain' : 'cluster';
}

/** The pitch in CSS pixels from which a level is drawn. */
export function pitchOf(shape: Shape, level: 'pe' | 'domain'): number {
  return level === 'pe' ? LEAST_PITCH : LEAST_PITCH / Math.min(shape.pes[0], shape.pes[1]);
}

const isFramed = (shape: Shape): boolean => switchesOf(shape) > 1;

/** How long the array is along an axis for a pitch of 1. */
export function lengthsOf(shape: Shape, asViewer: boolean): readonly [number, number] {
  return [0, 1].map((i) => {
    const [clusters, domains, pes] = [shape.clusters[i] ?? 1, shape.domains[i] ?? 1, shape.pes[i] ?? 1];
    return asViewer
      ? ViewerAxis.units(clusters, domains, pes) / VIEWER_PITCH
      : new Halves(clusters, domains, pes, isFramed(shape)).length / 2;
  }) as unknown as readonly [number, number];
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
  readonly level: Level;
  readonly gap: number;

  constructor(
    readonly shape: Shape,
    readonly look: Look,
  ) {
    this.gap = gapAt(look.pitch, look.ratio);
    this.columns = this.axisOf(0);
    this.rows = this.axisOf(1);
    this.level = levelAt(shape, look.pitch / look.ratio);
  }

  get isFlat(): boolean {
    return isFlat(this.shape);
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

  unit(level: Level, place: Place): Box {
    return level === 'pe' ? this.element(place) : level === 'domain' ? this.domain(place) : this.cluster(place);
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
    return this.look.asViewer
      ? new ViewerAxis(clusters[i], domains[i], pes[i], this.look.pitch / VIEWER_PITCH)
      : new NaturalAxis(new Halves(clusters[i], domains[i], pes[i], isFramed(this.shape)), this.look.pitch, this.gap);
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
