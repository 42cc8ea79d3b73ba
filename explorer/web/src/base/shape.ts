import type { Place, PlacePair } from './place';

/** How many clusters an array has, domains a cluster and elements a domain, by column and row. */
export interface Shape {
  readonly clusters: PlacePair;
  readonly domains: PlacePair;
  readonly pes: PlacePair;
}

export type Level = 'pe' | 'domain' | 'cluster';

/** What is drawn as one: units of a level, or square blocks of the elements of a mesh. */
export interface Grain {
  readonly of: Level | 'block';
  /** Elements along each axis; the last blocks of an axis may have fewer. */
  readonly span: PlacePair;
}

/** Elements of a cluster along each axis. */
export const clusterSpan = (shape: Shape): PlacePair => [
  shape.domains[0] * shape.pes[0],
  shape.domains[1] * shape.pes[1],
];

export const columnsOf = (shape: Shape): number => shape.clusters[0] * clusterSpan(shape)[0];
export const rowsOf = (shape: Shape): number => shape.clusters[1] * clusterSpan(shape)[1];
export const switchesOf = (shape: Shape): number => shape.clusters[0] * shape.clusters[1];

/** An array without clusters and domains: a mesh. */
export const isFlat = (shape: Shape): boolean =>
  switchesOf(shape) === 1 && shape.domains[0] === 1 && shape.domains[1] === 1;

/** Elements of one unit of a level along each axis. */
export function unitSpan(shape: Shape, level: Level): PlacePair {
  switch (level) {
    case 'pe':
      return [1, 1];
    case 'domain':
      return shape.pes;
    case 'cluster':
      return clusterSpan(shape);
  }
}

export const grainOf = (shape: Shape, level: Level): Grain => ({ of: level, span: unitSpan(shape, level) });

/** How many units the array has along each axis. */
export const unitsOf = (shape: Shape, { span }: Grain): PlacePair => [
  Math.ceil(columnsOf(shape) / span[0]),
  Math.ceil(rowsOf(shape) / span[1]),
];

/** The unit that an element is in. */
export const unitOf = ({ span }: Grain, element: Place): Place => ({
  column: Math.floor(element.column / span[0]),
  row: Math.floor(element.row / span[1]),
});

export const elementNumber = (shape: Shape, place: Place): number =>
  place.row * columnsOf(shape) + place.column;

export const isInside = (shape: Shape, place: Place): boolean =>
  place.column >= 0 && place.row >= 0 && place.column < columnsOf(shape) && place.row < rowsOf(shape);

const FIRST_SWITCH = 4; // where records have the switch of the first cluster, on both axes

/** The place at which records have the switch of a cluster. */
export function switchPlace(shape: Shape, cluster: PlacePair): PlacePair {
  const span = clusterSpan(shape);
  return [cluster[0] * span[0] + FIRST_SWITCH, cluster[1] * span[1] + FIRST_SWITCH];
}

/** "32 × 32", or "8 × 8 mesh" for an array without gaps. */
export const shapeText = (shape: Shape): string =>
  `${columnsOf(shape)} × ${rowsOf(shape)}${isFlat(shape) ? ' mesh' : ''}`;
