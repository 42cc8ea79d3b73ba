import type { ComponentChildren } from 'preact';
import { useLayoutEffect, useRef } from 'preact/hooks';

import { Button } from './Button';
import './dialog.css';

export interface DialogProps {
  readonly label: string;
  /** Without a title the dialog has no head of its own. */
  readonly title?: string;
  readonly class?: string;
  readonly onClose: () => void;
  readonly children: ComponentChildren;
}

/**
 * What stands over the page until it is closed: by its button, by Escape or by a click beside it. The
 * browser keeps the focus within and gives it back.
 */
export function Dialog(props: DialogProps) {
  const dialog = useRef<HTMLDialogElement>(null);
  // Before the next key is pressed: what is typed at once belongs here already.
  useLayoutEffect(() => {
    const element = dialog.current;
    element?.showModal();
    return () => element?.close();
  }, []);
  return (
    <dialog
      ref={dialog}
      class={`dialog ${props.class ?? ''}`}
      aria-label={props.label}
      onCancel={(event) => {
        event.preventDefault();
        props.onClose();
      }}
      onClick={(event) => event.target === event.currentTarget && props.onClose()}
      onKeyDown={(event) => event.stopPropagation()}
    >
      <div class="dialog-body">
        {props.title === undefined ? null : (
          <header class="dialog-head">
            <h2>{props.title}</h2>
            <Button label="Close" icon="close" onPress={props.onClose} />
          </header>
        )}
        {props.children}
      </div>
    </dialog>
  );
}
