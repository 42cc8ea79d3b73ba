import { effect, signal } from '@preact/signals';

import { cameraOf, clampZoom, type Camera, type Stage } from '../../base/camera';
import type { Box, Layout, Spot } from '../../base/floorplan/layout';
import { memo } from '../../base/memo';
import type { Explorer } from '../../model/explorer';
import type { Piece } from '../../protocol/questions';
import { followHand } from '../../input/drag';
import { coverOf } from '../../gl/messageShapes';
import { forgetDraw, requestDraw } from '../frames';
import { FloorplanHand } from './hand';
import { fitOf, inputOf, layoutOf, MARGIN } from './input';
import { boxOfPiece, pieceUnder } from './pick';
import type { SceneMaker } from './scene';
import { FloorplanRenderer, type FloorplanInput } from './renderer';

const FLY = 200; // milliseconds to what is focused
const FOCUS_SHARE = 0.8; // of the canvas that it fills
const COVERED = 0.15; // of the floorplan, by messages, from which link load is offered
const FOCUS_PITCH = 28; // CSS pixels that are enough for a single element

const ease = (share: number): number => 1 - (1 - share) ** 3;

/** Draws the floorplan when anything that it shows has changed, and follows the hand on it. */
export class FloorplanController {
  readonly hand: FloorplanHand;
  readonly works = signal(true);

  /** Whether messages cover so much, or are so small, that link load tells more. */
  readonly crowded = signal(false);

  /** What is seen, for the words beside the picture: level, zoom. */
  readonly seen = signal<Layout | undefined>(undefined);

  /** How often it was drawn. */
  draws = 0;

  private readonly cover = memo(coverOf);
  private stage = signal<Stage>({ width: 0, height: 0, ratio: 1, margin: MARGIN });
  private readonly band = signal<Box | undefined>(undefined);
  private renderer: FloorplanRenderer | undefined;
  private input: FloorplanInput | undefined;
  private layout: Layout | undefined;
  private rem = 16;
  private font = 'sans-serif';

  constructor(readonly explorer: Explorer) {
    this.hand = new FloorplanHand({
      explorer,
      layout: () => this.layout,
      fit: () => this.fit(),
      pieceAt: (spot) => this.pieceAt(spot),
      showBand: (band) => (this.band.value = band),
      focus: () => this.focus(),
    });
  }

  /** Begins on two canvases within a box; returns what ends it. */
  start(box: HTMLElement, canvas: HTMLCanvasElement, overlay: HTMLCanvasElement): () => void {
    this.renderer = new FloorplanRenderer(canvas, overlay, () => this.request());
    this.works.value = this.renderer.works;
    const watch = new ResizeObserver(() => this.measure(box));
    watch.observe(box);
    this.measure(box);
    void document.fonts.ready.then(() => this.request());
    const ends = [effect(() => this.prepare()), followHand(overlay, this.hand), () => watch.disconnect()];
    return () => {
      forgetDraw(this.draw);
      ends.forEach((end) => end());
    };
  }

  /** What is drawn, and what makes its scene: for who draws it elsewhere. */
  get drawn(): { readonly input: FloorplanInput; readonly maker: SceneMaker } | undefined {
    const { input, renderer } = this;
    return input === undefined || renderer === undefined ? undefined : { input, maker: renderer.maker };
  }

  fit(): number {
    return fitOf(this.explorer, this.stage.peek());
  }

  pieceAt(spot: Spot): Piece | undefined {
    const { layout, input, renderer } = this;
    if (layout === undefined || input === undefined || renderer === undefined) {
      return undefined;
    }
    const { ratio } = layout.look;
    return pieceUnder(
      {
        layout,
        ...renderer.maker.tables(layout),
        bars: input.links?.bars ?? [],
        switches: layout.look.plan === 'viewer' || (input.switches && !layout.isFlat),
      },
      { x: spot.x * ratio, y: spot.y * ratio },
    );
  }

  /** Flies to what is selected, so that it fills most of the canvas. */
  focus(): void {
    const { layout } = this;
    const box = layout === undefined ? undefined : this.selectedBox(layout);
    if (layout === undefined || box === undefined) {
      return;
    }
    const { look } = layout;
    const most = FOCUS_SHARE * Math.min(look.width / box.width, look.height / box.height);
    const enough = Math.max(1, (FOCUS_PITCH * look.ratio) / look.pitch);
    const zoom = clampZoom((look.pitch / look.ratio / this.fit()) * Math.min(most, enough), this.fit());
    this.fly({
      zoom,
      x: (box.x + box.width / 2 - look.left) / look.pitch,
      y: (look.bottom - box.y - box.height / 2) / look.pitch,
    });
  }

  /** Where a spot of the array is on the box, in CSS pixels: for tips and for tests. */
  boxOf(piece: Piece): Box | undefined {
    const { layout } = this;
    if (layout === undefined) {
      return undefined;
    }
    const { ratio } = layout.look;
    const box = boxOfPiece(layout, piece, this.input?.links?.bars ?? [], this.input?.links?.loads.of ?? 'elements');
    return { x: box.x / ratio, y: box.y / ratio, width: box.width / ratio, height: box.height / ratio };
  }

  private selectedBox(layout: Layout): Box | undefined {
    return this.input?.overlay.selected ?? layout.box;
  }

  private fly(to: Camera): void {
    const { view, settings } = this.explorer;
    const from = view.camera.peek() ?? (this.layout && cameraOf(this.layout.look, this.fit()));
    if (settings.reducedMotion.peek() || from === undefined) {
      view.camera.value = to;
      return;
    }
    const begun = performance.now();
    let shown = view.camera.peek();
    const go = () => {
      if (view.camera.peek() !== shown) {
        return; // the hand went elsewhere meanwhile
      }
      const share = ease(Math.min(1, (performance.now() - begun) / FLY));
      const between = (a: number, b: number) => a + (b - a) * share;
      shown = { zoom: between(from.zoom, to.zoom), x: between(from.x, to.x), y: between(from.y, to.y) };
      view.camera.value = shown;
      if (share < 1) {
        requestAnimationFrame(go);
      }
    };
    go();
  }

  private measure(box: HTMLElement): void {
    const style = getComputedStyle(document.documentElement);
    this.rem = parseFloat(style.fontSize);
    this.font = getComputedStyle(document.body).fontFamily;
    this.stage.value = {
      width: box.clientWidth,
      height: box.clientHeight,
      ratio: window.devicePixelRatio,
      margin: (MARGIN * this.rem) / 16,
    };
  }

  /** Reads everything that is drawn; whatever of it changes, there is another frame. */
  private prepare(): void {
    const wanted = layoutOf(this.explorer, this.stage.value);
    const layout = wanted !== undefined && this.layout?.equals(wanted) === true ? this.layout : wanted;
    this.layout = layout;
    this.seen.value = layout;
    this.input = layout && inputOf(this.explorer, layout, this.font, this.rem, this.band.value);
    this.crowded.value = this.isCrowded();
    this.request();
  }

  private isCrowded(): boolean {
    const { input, layout } = this;
    if (input === undefined || layout === undefined || !input.messages || input.links !== undefined) {
      return false;
    }
    const { messages } = input.cells.picture;
    return layout.level === 'pe' ? this.cover(layout, messages) > COVERED : messages.record.length > 0;
  }

  private request(): void {
    requestDraw(this.draw);
  }

  private readonly draw = (): void => {
    if (this.input !== undefined && this.renderer !== undefined) {
      this.renderer.draw(this.input);
      this.draws += 1;
    }
  };
}
