import { createContext } from 'preact';
import { useContext } from 'preact/hooks';

import type { Registry } from '../commands/registry';
import type { Explorer } from '../model/explorer';

export interface Page {
  readonly explorer: Explorer;
  readonly commands: Registry;
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
