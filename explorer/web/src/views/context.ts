import { createContext } from 'preact';
import { useContext } from 'preact/hooks';

import type { Registry } from '../commands/registry';
import type { Site } from '../engine/site';
import type { EventWalk } from '../model/eventWalk';
import type { Explorer } from '../model/explorer';
import type { Inspection } from '../model/inspection';
import type { KeptMarks } from '../model/keptMarks';
import type { Timeline } from '../model/timeline';
import type { FloorplanController } from './floorplan/controller';

/** Who goes to another moment. */
export interface Travel {
  goToCycle(cycle: bigint): unknown;
  goToRecord(record: number): unknown;
  goToStep(step: number): unknown;
}

export interface Page {
  readonly explorer: Explorer;
  readonly commands: Registry;
  readonly timeline: Timeline;
  readonly inspection: Inspection;
  readonly walk: EventWalk;
  readonly travel: Travel;
  readonly floorplan: FloorplanController;
  readonly site: Site;
  readonly kept: KeptMarks;
  /** Which tell whether a part of the page waits for something: for tests. */
  readonly waits: (() => boolean)[];
}

export const PageContext = createContext<Page | undefined>(undefined);

/** The state and the commands of the page that a view stands in. */
export function usePage(): Page {
  const page = useContext(PageContext);
  if (page === undefined) {
    throw new Error('a view stands outside of a page');
  }
  return page;
}
