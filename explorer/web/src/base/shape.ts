import type { Place, PlacePair } from './place';

/** How many clusters an array has, domains a cluster and elements a domain, by column and row. */
export interface Shape {
  readonly clusters: PlacePair;
  readonly domains: PlacePair;
  readonly pes: PlacePair;
}

export type Level = 'pe' | 'domain' | 'cluster';

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

/** How many units of a level the array has along each axis. */
export function unitsOf(shape: Shape, level: Level): PlacePair {
  const span = unitSpan(shape, level);
  return [columnsOf(shape) / span[0], rowsOf(shape) / span[1]];
}

export function unitOf(shape: Shape, level: Level, element: Place): Place {
  const span = unitSpan(shape, level);
  return { column: Math.floor(element.column / span[0]), row: Math.floor(element.row / span[1]) };
}

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
