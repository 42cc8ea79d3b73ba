import { cameraOf, pannedBy, zoomedAt, type Camera } from '../../base/camera';
import type { Box, Layout, Spot } from '../../base/floorplan/layout';
import type { Hand } from '../../input/drag';
import type { Explorer } from '../../model/explorer';
import type { Piece } from '../../protocol/questions';
import { elementsWithin } from './pick';

const WHEEL = 0.0015; // how much a pixel of the wheel zooms

/** What a hand on the floorplan needs to know and to tell. */
export interface Ground {
  readonly explorer: Explorer;
  layout(): Layout | undefined;
  fit(): number;
  pieceAt(spot: Spot): Piece | undefined;
  /** The rectangle that is being drawn, in device pixels. */
  showBand(band: Box | undefined): void;
  focus(): void;
}

/** Wheel zooms at the pointer, drag pans, Shift and drag selects a rectangle, a click selects. */
export class FloorplanHand implements Hand {
  private hovering: string | undefined;

  constructor(private readonly ground: Ground) {}

  press(): void {
    this.setHover(undefined);
    this.ground.showBand(undefined);
  }

  drag(from: Spot, to: Spot, last: Spot, shift: boolean): void {
    if (shift) {
      this.ground.showBand(this.bandOf(from, to));
      return;
    }
    this.move((camera, layout) => {
      const { ratio } = layout.look;
      return pannedBy(camera, layout.look, (to.x - last.x) * ratio, (to.y - last.y) * ratio);
    });
  }

  drop(from: Spot, to: Spot, shift: boolean): void {
    const layout = this.ground.layout();
    this.ground.showBand(undefined);
    if (!shift || layout === undefined) {
      return;
    }
    const rect = elementsWithin(layout, this.device(from), this.device(to));
    if (rect !== undefined) {
      this.ground.explorer.selection.selected.value = { rect };
    }
  }

  click(spot: Spot): void {
    const { selection, panels } = this.ground.explorer;
    const piece = this.ground.pieceAt(spot);
    if (piece === undefined) {
      selection.clear();
      return;
    }
    selection.selectPiece(piece);
    panels.dock.value ??= 'inspector';
  }

  doubleClick(): void {
    this.ground.focus();
  }

  hover(spot: Spot | undefined): void {
    this.setHover(spot === undefined ? undefined : this.ground.pieceAt(spot));
  }

  pinch(factor: number, middle: Spot, moved: Spot): void {
    this.zoom(middle, factor);
    this.move((camera, { look }) => pannedBy(camera, look, moved.x * look.ratio, moved.y * look.ratio));
  }

  wheel(spot: Spot, dx: number, dy: number, event: WheelEvent): void {
    if (event.shiftKey || (dx !== 0 && Math.abs(dx) > Math.abs(dy))) {
      const across = dx !== 0 ? dx : dy;
      this.move((camera, { look }) => pannedBy(camera, look, -across * look.ratio, 0));
    } else {
      this.zoom(spot, Math.exp(-dy * WHEEL));
    }
  }

  /** Moves what is seen by CSS pixels. */
  pan(dx: number, dy: number): void {
    this.move((camera, { look }) => pannedBy(camera, look, dx * look.ratio, dy * look.ratio));
  }

  /** Zooms at a spot, or at the middle. */
  zoom(spot: Spot | undefined, factor: number): void {
    this.move((camera, { look }) => {
      const at = spot === undefined ? { x: look.width / 2, y: look.height / 2 } : this.device(spot);
      return zoomedAt(camera, look, this.ground.fit(), factor, at);
    });
  }

  private move(by: (camera: Camera, layout: Layout) => Camera): void {
    const layout = this.ground.layout();
    if (layout !== undefined) {
      const { view } = this.ground.explorer;
      view.camera.value = by(view.camera.peek() ?? cameraOf(layout.look, this.ground.fit()), layout);
    }
  }

  private device(spot: Spot): Spot {
    const ratio = this.ground.layout()?.look.ratio ?? 1;
    return { x: spot.x * ratio, y: spot.y * ratio };
  }

  private bandOf(from: Spot, to: Spot): Box {
    const [a, b] = [this.device(from), this.device(to)];
    return {
      x: Math.min(a.x, b.x),
      y: Math.min(a.y, b.y),
      width: Math.abs(a.x - b.x),
      height: Math.abs(a.y - b.y),
    };
  }

  private setHover(piece: Piece | undefined): void {
    const text = JSON.stringify(piece);
    if (text !== this.hovering) {
      this.hovering = text;
      this.ground.explorer.selection.hovered.value = piece;
    }
  }
}
