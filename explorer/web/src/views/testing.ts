import type { Box } from '../base/floorplan/layout';
import type { Explorer } from '../model/explorer';
import { viewHash } from '../model/viewLink';
import type { Piece } from '../protocol/questions';
import type { FloorplanController } from './floorplan/controller';
import { isDrawing } from './frames';

/** What the page tells to whoever tests it or drives it by script. Nothing here changes it. */
export interface Observed {
  readonly state: {
    readonly trace: string;
    readonly reading: string;
    readonly step: number;
    readonly cycle: string;
    readonly records: number;
    readonly playing: boolean;
    readonly connection: string;
    readonly selected: unknown;
    readonly messages: number;
    readonly alert: string | undefined;
    readonly level: string | undefined;
    readonly zoom: number;
    readonly theme: string;
    readonly hash: string;
    readonly draws: number;
  };
  readonly log: Explorer['engine']['log'];
  /** When nothing is asked, fetched or drawn any more. */
  idle(): Promise<void>;
  /** Where a piece is drawn, in CSS pixels of the floorplan. */
  boxOf(piece: Piece): Box | undefined;
  /** The colour at a spot of the floorplan's canvas, in device pixels from the upper left. */
  colourAt(x: number, y: number): readonly [number, number, number];
}

const frame = () => new Promise((resolve) => requestAnimationFrame(resolve));

async function idle(explorer: Explorer, isBusy: () => boolean): Promise<void> {
  let quiet = 0;
  while (quiet < 2) {
    await frame();
    quiet = explorer.busy || isBusy() || isDrawing() ? 0 : quiet + 1;
  }
}

function colourAt(x: number, y: number): readonly [number, number, number] {
  const canvas = document.querySelector('canvas');
  const gl = canvas?.getContext('webgl2');
  const pixel = new Uint8Array(4);
  gl?.readPixels(x, (canvas?.height ?? 1) - 1 - y, 1, 1, gl.RGBA, gl.UNSIGNED_BYTE, pixel);
  return [pixel[0] ?? 0, pixel[1] ?? 0, pixel[2] ?? 0];
}

function stateOf(explorer: Explorer, floorplan: FloorplanController): Observed['state'] {
  const { trace, view, playback, selection, settings, engine } = explorer;
  const picture = playback.picture.peek();
  const layout = floorplan.seen.peek();
  return {
    trace: trace.fingerprint.peek(),
    reading: picture?.reading ?? view.reading.peek(),
    step: playback.now.peek().step,
    cycle: String(playback.now.peek().cycle),
    records: trace.head.peek()?.records ?? 0,
    playing: playback.playing.peek(),
    connection: engine.connection.peek().state,
    selected: selection.selected.peek(),
    messages: picture?.messages.record.length ?? 0,
    alert: explorer.alerts.shown.peek()?.id,
    level: layout?.level,
    zoom: layout === undefined ? 1 : layout.cssPitch / floorplan.fit(),
    theme: settings.theme.peek(),
    hash: viewHash(explorer),
    draws: floorplan.draws,
  };
}

/** `isBusy` tells whether a panel waits for something. */
export function observed(explorer: Explorer, floorplan: FloorplanController, isBusy: () => boolean): Observed {
  return Object.freeze({
    get state() {
      return stateOf(explorer, floorplan);
    },
    log: explorer.engine.log,
    idle: () => idle(explorer, isBusy),
    boxOf: (piece: Piece) => floorplan.boxOf(piece),
    colourAt,
  });
}
