import type { ComponentType } from 'preact';
import { useEffect, useState } from 'preact/hooks';

/**
 * A part of the page that is loaded when it is first shown, so that the first picture need not wait
 * for it. Until then there is nothing in its place.
 */
export function later<Props extends object = object>(load: () => Promise<ComponentType<Props>>): ComponentType<Props> {
  let loaded: ComponentType<Props> | undefined;
  return function Later(props: Props) {
    const [Part, setPart] = useState<ComponentType<Props> | undefined>(() => loaded);
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
    return Part === undefined ? null : <Part {...props} />;
  };
}
