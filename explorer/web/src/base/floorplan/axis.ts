/** Whole device pixels from `start` up to `end`, which is not included. */
export interface Stretch {
  readonly start: number;
  readonly end: number;
}

/**
 * Where everything lies along one axis of a floorplan, in device pixels from the array's edge: the
 * left one for columns, the lower one for rows.
 */
export interface Axis {
  readonly length: number;
  readonly elements: number;
  readonly clusters: number;
  element(number: number): Stretch;
  /** Several elements beside each other, both ends included. */
  elementsFrom(first: number, last: number): Stretch;
  domain(number: number): Stretch;
  cluster(number: number): Stretch;
  /** The middle of a cluster's switch. */
  switchMiddle(cluster: number): number;
  /** What a switch that is a square covers; undefined where switches are diamonds. */
  switchStretch(cluster: number): Stretch | undefined;
}

/**
 * Along one axis of an array, in halves of the distance from one element to the next. Domains stand
 * apart by half an element, at the middle of a cluster, where its switch is, by a whole one;
 * clusters have a frame half an element away and stand apart by half an element. An array of one
 * cluster has no frame (`inside`), one of one domain no gaps, and one that is laid out flat (`none`)
 * neither.
 */
export class Halves {
  private readonly frame: number;

  constructor(
    readonly clusters: number,
    readonly domains: number,
    readonly pes: number,
    private readonly gaps: 'framed' | 'inside' | 'none',
  ) {
    this.frame = gaps === 'framed' ? 1 : 0;
  }

  get clusterLength(): number {
    return this.inDomains(this.domains) - this.crossBefore(this.domains) + 2 * this.frame;
  }

  get length(): number {
    return this.clusters * this.clusterLength + (this.clusters - 1) * this.frame;
  }

  cluster(number: number): number {
    return number * (this.clusterLength + this.frame);
  }

  domain(number: number): number {
    const cluster = Math.floor(number / this.domains);
    return this.cluster(cluster) + this.frame + this.inDomains(number % this.domains);
  }

  element(number: number): number {
    return this.domain(Math.floor(number / this.pes)) + (number % this.pes) * 2;
  }

  switchMiddle(cluster: number): number {
    const first = this.cluster(cluster) + this.frame;
    return this.isParted
      ? first + this.inDomains(Math.floor(this.domains / 2)) - 1
      : first + this.domains * this.pes;
  }

  private get isParted(): boolean {
    return this.domains > 1 && this.gaps !== 'none';
  }

  /** Where a domain of a cluster begins, without the frame. */
  private inDomains(number: number): number {
    if (!this.isParted) {
      return number * 2 * this.pes;
    }
    return number * (2 * this.pes + 1) + (number >= Math.floor(this.domains / 2) ? 1 : 0);
  }

  private crossBefore(number: number): number {
    if (number === 0 || !this.isParted) {
      return 0;
    }
    return number === Math.floor(this.domains / 2) ? 2 : 1;
  }
}

/** The natural floorplan's axis at a pitch in device pixels, which need not be whole. */
export class NaturalAxis implements Axis {
  constructor(
    private readonly halves: Halves,
    private readonly pitch: number,
    private readonly gap: number,
  ) {}

  get length(): number {
    return this.at(this.halves.length);
  }

  get elements(): number {
    return this.halves.clusters * this.halves.domains * this.halves.pes;
  }

  get clusters(): number {
    return this.halves.clusters;
  }

  element(number: number): Stretch {
    return this.elementsFrom(number, number);
  }

  elementsFrom(first: number, last: number): Stretch {
    return this.stretch(this.halves.element(first), this.halves.element(last) + 2, this.gap);
  }

  domain(number: number): Stretch {
    const start = this.halves.domain(number);
    return this.stretch(start, start + 2 * this.halves.pes, this.gap);
  }

  cluster(number: number): Stretch {
    const start = this.halves.cluster(number);
    return this.stretch(start, start + this.halves.clusterLength, 0);
  }

  switchMiddle(cluster: number): number {
    return this.at(this.halves.switchMiddle(cluster)) - this.gap / 2;
  }

  switchStretch(): undefined {
    return undefined;
  }

  private at(halves: number): number {
    return Math.floor((halves * this.pitch) / 2);
  }

  /** A unit that there is room for is never lost between two pixels. */
  private stretch(from: number, to: number, gap: number): Stretch {
    const start = this.at(from);
    return { start, end: Math.max(start + 1, this.at(to) - gap) };
  }
}

// Lengths of the viewer's picture, in its units.
const SIZE = 6;
const PE_OFFSET = 8;
const SPACE = 2;
const DOMAIN_SPACE = 4;
const SWITCH = 10;
const SWITCH_ROOM = SWITCH + 2;
const CLUSTER_SPACE = 8;
const MARGIN = 2; // of the outline around a cluster

/** The viewer's own geometry at a scale in device pixels a unit, its border left away. */
export class ViewerAxis implements Axis {
  private readonly domainSize: number;
  private readonly clusterSize: number;

  constructor(
    readonly clusters: number,
    private readonly domains: number,
    private readonly pes: number,
    private readonly scale: number,
  ) {
    this.domainSize = pes * SIZE + (pes - 1) * SPACE;
    this.clusterSize = domains * this.domainSize + (domains - 1) * DOMAIN_SPACE + SWITCH_ROOM;
  }

  /** Units from the first cluster's outline to the last one's, or to the last element's end. */
  static units(clusters: number, domains: number, pes: number): number {
    const axis = new ViewerAxis(clusters, domains, pes, 1);
    const lastElement = axis.base(axis.elements - 1) + SIZE + MARGIN;
    return Math.max(lastElement, axis.clusterBase(clusters - 1) + axis.clusterSize + 2 * MARGIN);
  }

  get length(): number {
    return Math.ceil(ViewerAxis.units(this.clusters, this.domains, this.pes) * this.scale);
  }

  get elements(): number {
    return this.clusters * this.domains * this.pes;
  }

  element(number: number): Stretch {
    return this.elementsFrom(number, number);
  }

  elementsFrom(first: number, last: number): Stretch {
    return this.stretch(this.base(first), this.base(last) + SIZE);
  }

  domain(number: number): Stretch {
    const base = this.base(number * this.pes);
    return this.stretch(base, base + this.domainSize);
  }

  cluster(number: number): Stretch {
    const base = this.clusterBase(number);
    const { start, end } = this.stretch(base - MARGIN, base + this.clusterSize + MARGIN);
    return { start, end: end + 1 };
  }

  switchMiddle(cluster: number): number {
    const { start, end } = this.switchStretch(cluster);
    return (start + end) / 2;
  }

  switchStretch(cluster: number): Stretch {
    const end = this.clusterBase(cluster) + this.domainSize + DOMAIN_SPACE + SWITCH_ROOM - SPACE;
    return this.stretch(end - SWITCH, end);
  }

  private clusterBase(number: number): number {
    return MARGIN + number * (this.clusterSize + CLUSTER_SPACE);
  }

  private base(number: number): number {
    const domain = Math.floor(number / this.pes);
    const offset = (domain % this.domains) * (this.domainSize + DOMAIN_SPACE + SWITCH_ROOM);
    return this.clusterBase(Math.floor(domain / this.domains)) + offset + (number % this.pes) * PE_OFFSET;
  }

  /** The pixels whose middles lie within. */
  private stretch(from: number, to: number): Stretch {
    const start = Math.ceil(from * this.scale - 0.5);
    return { start, end: Math.max(start + 1, Math.ceil(to * this.scale - 0.5)) };
  }
}

export const VIEWER_PITCH = PE_OFFSET;
