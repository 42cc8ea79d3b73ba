import { createContext } from 'preact';
import { useContext } from 'preact/hooks';

import type { Registry } from '../commands/registry';
import type { EventList } from '../model/eventList';
import type { EventWalk } from '../model/eventWalk';
import type { Explorer } from '../model/explorer';
import type { Inspection } from '../model/inspection';
import type { Timeline } from '../model/timeline';

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
  readonly events: EventList;
  readonly walk: EventWalk;
  readonly travel: Travel;
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
