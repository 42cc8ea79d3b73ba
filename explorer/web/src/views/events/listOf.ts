import { EventList } from '../../model/eventList';
import type { Page } from '../context';

const lists = new WeakMap<object, EventList>();

/** The list of events of a page, which is made when it is first asked for: most never see it. */
export function listOf({ explorer, waits }: Page): EventList {
  let list = lists.get(explorer);
  if (list === undefined) {
    const made = new EventList(explorer);
    lists.set(explorer, made);
    waits.push(() => made.busy);
    list = made;
  }
  return list;
}
