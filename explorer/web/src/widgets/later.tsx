import type { ComponentType } from 'preact';
import { useEffect, useState } from 'preact/hooks';

/**
 * A part of the page that is loaded when it is first shown, so that the first picture need not wait
 * for it. Until then there is nothing in its place.
 */
export function later(load: () => Promise<ComponentType>): ComponentType {
  let loaded: ComponentType | undefined;
  return function Later() {
    const [Part, setPart] = useState<ComponentType | undefined>(() => loaded);
    useEffect(() => {
      let gone = false;
      void load().then((part) => {
        loaded = part;
        if (!gone) {
          setPart(() => part);
        }
      });
      return () => {
        gone = true;
      };
    }, []);
    return Part === undefined ? null : <Part />;
  };
}
