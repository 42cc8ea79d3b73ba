import type { RefObject } from 'preact';
import { useEffect, useMemo, useRef } from 'preact/hooks';

import { columnsOf, isFlat, rowsOf, type Shape } from '../../base/shape';
import { thousands } from '../../base/words';
import type { Explorer } from '../../model/explorer';
import { namedPiece } from '../../model/hover';
import { Button } from '../../widgets/Button';
import { later } from '../../widgets/later';
import { Tooltip } from '../../widgets/Tooltip';
import { Keys } from '../../widgets/Keys';
import { usePage } from '../context';
import type { FloorplanController } from './controller';
import './floorplan.css';

const Crowded = later<{ readonly controller: FloorplanController }>(async () => (await import('./Crowded')).Crowded);

/** "4 × 4 clusters › 2 × 2 domains › 4 × 4 PEs". */
export function levelsText(shape: Shape): string {
  const times = (pair: readonly [number, number]) => `${pair[0]} × ${pair[1]}`;
  if (isFlat(shape)) {
    return `${columnsOf(shape)} × ${rowsOf(shape)} PEs, no gaps`;
  }
  return `${times(shape.clusters)} clusters › ${times(shape.domains)} domains › ${times(shape.pes)} PEs`;
}

function ReadingSwitch() {
  const { explorer, commands } = usePage();
  const { reading } = explorer.view;
  if (explorer.trace.head.value?.viewerShows === false) {
    return null;
  }
  const option = (value: 'natural' | 'viewer', long: string, short: string) => (
    <button
      type="button"
      class="segment"
      role="radio"
      aria-checked={reading.value === value}
      aria-label={long}
      onClick={() => (reading.value = value)}
    >
      <span class="middle-only">{long}</span>
      <span class="narrow-only">{short}</span>
    </button>
  );
  return (
    <>
      <div class="segments" role="radiogroup" aria-label="Reading of the trace">
        {option('natural', 'Natural', 'Natural')}
        {option('viewer', 'As the viewer shows it', 'Viewer')}
      </div>
      <span class="middle-only">
        <Keys parts={commands.keysOf('floorplan.reading')[0]} />
      </span>
    </>
  );
}

function Head({ controller }: { readonly controller: FloorplanController }) {
  const { explorer, commands } = usePage();
  const shape = explorer.trace.shape.value;
  const layout = controller.seen.value;
  const zoom = layout === undefined ? 1 : layout.cssPitch / controller.fit();
  return (
    <div class="floorplan-head">
      <h2 class="floorplan-title">
        Floorplan <span class="middle-only">{shape && levelsText(shape)}</span>
      </h2>
      <span class="grow" />
      <ReadingSwitch />
      <Button icon="minus" label="Zoom out" onPress={() => commands.run('floorplan.zoomOut')} />
      <output class="floorplan-zoom middle-only" aria-label="Zoom">
        {thousands(Math.round(100 * zoom))} %
      </output>
      <Button icon="plus" label="Zoom in" onPress={() => commands.run('floorplan.zoomIn')} />
      <Button icon="fit" label="Fit all" onPress={() => commands.run('floorplan.fit')} />
    </div>
  );
}

/** What is pointed at, in a few words. `origin` is the element that the floorplan is drawn in. */
function Tip(props: { readonly controller: FloorplanController; readonly origin: RefObject<Element> }) {
  const { controller, origin } = props;
  const { explorer } = usePage();
  const piece = explorer.selection.hovered.value;
  const words = explorer.hover.words.value;
  controller.seen.value;
  const box = piece && controller.boxOf(piece);
  if (piece === undefined || box === undefined || origin.current === null) {
    return null;
  }
  const { left, top } = origin.current.getBoundingClientRect();
  return (
    <Tooltip x={left + box.x} y={top + box.y} width={box.width}>
      <b>{namedPiece(explorer, piece)}</b>
      {words !== '' && <span>{words}</span>}
      <span>click to inspect</span>
    </Tooltip>
  );
}

/** What arrow keys do is not needed before one is pressed. */
function arrowKeys(explorer: Explorer, controller: FloorplanController) {
  let mover: Promise<(event: KeyboardEvent) => void> | undefined;
  return (event: KeyboardEvent): void => {
    if (event.key.startsWith('Arrow') && !event.altKey) {
      event.preventDefault();
      event.stopPropagation();
      mover ??= import('./arrows').then((part) => part.moveSelection(explorer, controller));
      void mover.then((move) => move(event));
    }
  };
}

export function Floorplan({ controller }: { readonly controller: FloorplanController }) {
  const { explorer } = usePage();
  const box = useRef<HTMLDivElement>(null);
  const canvas = useRef<HTMLCanvasElement>(null);
  const overlay = useRef<HTMLCanvasElement>(null);
  useEffect(() => {
    if (box.current === null || canvas.current === null || overlay.current === null) {
      return undefined;
    }
    return controller.start(box.current, canvas.current, overlay.current);
  }, [controller]);
  const onKeyDown = useMemo(() => arrowKeys(explorer, controller), [explorer, controller]);
  const selected = explorer.selection.piece.value;
  const label = selected === undefined ? '' : `, ${namedPiece(explorer, selected)} is selected`;
  return (
    <>
      <Head controller={controller} />
      <div class={`floorplan-box ${explorer.pilot.slow.value ? 'waiting' : ''}`} ref={box}>
        <canvas class="floorplan-canvas" ref={canvas} aria-hidden="true" />
        <canvas
          class="floorplan-canvas"
          ref={overlay}
          tabIndex={0}
          role="application"
          aria-label={`Floorplan${label}. Arrow keys choose another one, Shift grows a rectangle, Ctrl pans.`}
          onKeyDown={onKeyDown}
        />
        {!controller.works.value && (
          <p class="floorplan-missing">
            <strong>This browser has no WebGL2.</strong> Allow it in the settings, or use another browser.
          </p>
        )}
        {controller.crowded.value && <Crowded controller={controller} />}
        <Tip controller={controller} origin={box} />
      </div>
    </>
  );
}

