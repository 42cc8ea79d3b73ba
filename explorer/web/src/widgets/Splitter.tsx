import { useRef } from 'preact/hooks';

import './splitter.css';

export interface SplitterProps {
  readonly label: string;
  /** Of what is resized; it lies beyond the splitter: below it or to its right. */
  readonly direction: 'height' | 'width';
  /** In pixels. */
  readonly size: number;
  readonly least: number;
  readonly most: number;
  readonly onSize: (size: number) => void;
  /** Back to the size that the design has. */
  readonly onReset: () => void;
}

const STEP = 16;

const limited = (size: number, { least, most }: SplitterProps): number =>
  Math.min(Math.max(size, least), Math.max(least, most));

/** Pixels that a key moves the splitter by; none for other keys. */
function keyStep(key: string, direction: SplitterProps['direction']): number | undefined {
  const [larger, smaller] = direction === 'height' ? ['ArrowUp', 'ArrowDown'] : ['ArrowLeft', 'ArrowRight'];
  return key === larger ? STEP : key === smaller ? -STEP : undefined;
}

/** An edge of a panel that can be dragged, and moved by arrow keys. */
export function Splitter(props: SplitterProps) {
  const drag = useRef<{ readonly at: number; readonly size: number }>();
  const place = (event: PointerEvent) => (props.direction === 'height' ? event.clientY : event.clientX);
  const press = (event: PointerEvent) => {
    (event.currentTarget as HTMLElement).setPointerCapture(event.pointerId);
    drag.current = { at: place(event), size: props.size };
  };
  const move = (event: PointerEvent) => {
    if (drag.current !== undefined) {
      props.onSize(limited(drag.current.size + drag.current.at - place(event), props));
    }
  };
  const type = (event: KeyboardEvent) => {
    const step = keyStep(event.key, props.direction);
    if (step !== undefined) {
      event.preventDefault();
      event.stopPropagation();
      props.onSize(limited(props.size + step, props));
    }
  };
  return (
    <div
      class={`splitter ${props.direction}`}
      role="separator"
      aria-label={props.label}
      aria-orientation={props.direction === 'height' ? 'horizontal' : 'vertical'}
      aria-valuenow={Math.round(props.size)}
      aria-valuemin={Math.round(props.least)}
      aria-valuemax={Math.round(Math.max(props.least, props.most))}
      tabIndex={0}
      onPointerDown={press}
      onPointerMove={move}
      onPointerUp={() => (drag.current = undefined)}
      onPointerCancel={() => (drag.current = undefined)}
      onKeyDown={type}
      onDblClick={props.onReset}
    />
  );
}
