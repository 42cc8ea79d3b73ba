import { useSignal } from '@preact/signals';
import type { JSX } from 'preact';
import { useEffect, useLayoutEffect, useRef } from 'preact/hooks';

import {
  contentHeight,
  mostTop,
  rowsToDraw,
  scrollOf,
  topAfter,
  topCentred,
  topShowing,
  type RowSpace,
} from '../base/virtualRows';
import './virtualList.css';

export interface VirtualListProps {
  readonly label: string;
  readonly rows: number;
  /** In rem. */
  readonly rowHeight: number;
  /** The row that is chosen, if any. */
  readonly chosen: number | undefined;
  /** A new object brings its row to the middle. */
  readonly shown: { readonly row: number } | undefined;
  readonly onChoose: (row: number) => void;
  readonly onRun: (row: number) => void;
  /** Tells which rows are to be seen, up to the last, not included. */
  readonly onSeen: (first: number, end: number) => void;
  readonly draw: (row: number) => JSX.Element;
  /** Stands above the rows while they scroll. */
  readonly head?: JSX.Element;
}

const SPARE = 6;

/** How far a key moves the choice; undefined for other keys. */
function choiceAfter(key: string, chosen: number, page: number, rows: number): number | undefined {
  const moved = { ArrowDown: 1, ArrowUp: -1, PageDown: page, PageUp: -page }[key];
  const goal = moved === undefined ? { Home: 0, End: rows - 1 }[key] : chosen + moved;
  return goal === undefined ? undefined : Math.min(rows - 1, Math.max(0, goal));
}

/**
 * Rows of a number that may be larger than a browser can lay out; only those to be seen have
 * elements. One row is chosen by click or arrow keys, and run by Enter or double click.
 */
export function VirtualList(props: VirtualListProps) {
  const area = useRef<HTMLDivElement>(null);
  const top = useSignal(0);
  const size = useSignal({ viewHeight: 0, rem: 16 });
  const bar = useSignal(0); // where the scroll bar stands, as far as this list has looked
  const { viewHeight, rem } = size.value;
  const space: RowSpace = { rows: props.rows, rowHeight: props.rowHeight * rem, viewHeight };
  const at = Math.min(top.value, mostTop(space));
  const [first, end] = rowsToDraw(space, at, SPARE);

  useEffect(() => {
    const element = area.current;
    if (element === null) {
      return undefined;
    }
    const measure = () => {
      const root = parseFloat(getComputedStyle(document.documentElement).fontSize);
      size.value = { viewHeight: element.clientHeight, rem: root };
    };
    const observer = new ResizeObserver(measure);
    observer.observe(element);
    measure();
    return () => observer.disconnect();
  }, []);

  const goTo = (row: number) => {
    top.value = row;
    bar.value = scrollOf(space, row);
    area.current?.scrollTo({ top: bar.value });
    bar.value = area.current?.scrollTop ?? bar.value;
  };
  useLayoutEffect(() => {
    if (props.shown !== undefined) {
      goTo(topCentred(space, props.shown.row));
    }
  }, [props.shown, viewHeight]);
  useEffect(() => goTo(0), [props.rows === 0]);
  useEffect(() => props.onSeen(first, end));

  const scrolled = () => {
    const element = area.current;
    if (element !== null && element.scrollTop !== bar.value) {
      top.value = topAfter(space, at, bar.value, element.scrollTop);
      bar.value = element.scrollTop;
    }
  };
  const pressed = (event: KeyboardEvent) => {
    const page = Math.max(1, Math.floor(viewHeight / space.rowHeight) - 1);
    const goal = choiceAfter(event.key, props.chosen ?? Math.floor(at) - 1, page, props.rows);
    if (goal !== undefined && props.rows > 0 && !event.ctrlKey && !event.metaKey) {
      event.preventDefault();
      event.stopPropagation();
      props.onChoose(goal);
      goTo(topShowing(space, at, goal));
    } else if (event.key === 'Enter' && props.chosen !== undefined) {
      event.preventDefault();
      props.onRun(props.chosen);
    }
  };
  const shift = bar.value - (at - first) * space.rowHeight;
  return (
    <div
      class="virtual-list"
      ref={area}
      role="grid"
      aria-label={props.label}
      aria-rowcount={props.rows}
      aria-activedescendant={props.chosen === undefined ? undefined : `row-${props.chosen}`}
      tabIndex={0}
      onScroll={scrolled}
      onKeyDown={pressed}
    >
      {props.head}
      <div class="virtual-space" role="rowgroup" style={{ height: `${contentHeight(space)}px` }}>
        <div class="virtual-rows" role="presentation" style={{ transform: `translateY(${Math.round(shift)}px)` }}>
          {Array.from({ length: end - first }, (_, i) => first + i).map((row) => (
            <div
              key={row}
              id={`row-${row}`}
              role="row"
              aria-rowindex={row + 1}
              aria-selected={row === props.chosen}
              class="virtual-row"
              style={{ height: `${space.rowHeight}px` }}
              onClick={() => props.onChoose(row)}
              onDblClick={() => props.onRun(row)}
            >
              {props.draw(row)}
            </div>
          ))}
        </div>
      </div>
    </div>
  );
}
