import { effect, signal } from '@preact/signals';

import { Latest } from '../base/latest';
import { placeOf, type Place } from '../base/place';
import { elementTouch, switchTouch, type Touch } from '../base/picture';
import { elementNumber } from '../base/shape';
import { counted, thousands } from '../base/words';
import type { Touched } from '../protocol/answers';
import type { Piece } from '../protocol/questions';
import type { Explorer } from './explorer';
import { momentOf } from './moment';
import { pieceText } from './selectionStore';

const REST = 60; // milliseconds that the pointer rests before the engine is asked

const DONE: Readonly<Record<string, string>> = { fire: 'fired', send: 'sent', switch: 'transmitted' };

/** "thread 2, fired 6 cycles ago". */
export function touchedText(explorer: Explorer, touched: Touched): string {
  const unit = explorer.view.reading.value === 'viewer' ? 'step' : 'cycle';
  const ago = BigInt(touched.ago);
  const when = ago === 0n ? 'now' : `${counted(ago, unit)} ago`;
  return `${explorer.trace.threadName(touched.thread)}, ${DONE[touched.type] ?? touched.type} ${when}`;
}

/** The same from what the picture tells, which counts to a few steps only. */
function touchText(touch: Touch, oldest: number): string {
  const steps = touch.age === oldest ? `${thousands(touch.age)} or more steps` : counted(touch.age, 'step');
  return `thread ${touch.thread}, ${touch.age === 0 ? 'now' : `${steps} ago`}`;
}

/** What is known of the piece under the pointer: at once from the picture, then from the engine. */
export class Hover {
  readonly words = signal('');
  private readonly asks: Latest<Piece>;
  private timer: ReturnType<typeof setTimeout> | undefined;

  constructor(private readonly explorer: Explorer) {
    this.asks = new Latest((piece, stop) => this.ask(piece, stop));
  }

  follow(): () => void {
    const ends = [this.followPointer(), this.followSelection()];
    return () => ends.forEach((end) => end());
  }

  /** Who does not see the ring hears what was selected. */
  private followSelection(): () => void {
    return effect(() => {
      const piece = this.explorer.selection.piece.value;
      if (piece !== undefined) {
        const words = this.fromPicture(piece);
        this.explorer.panels.said.value = `${namedPiece(this.explorer, piece)}${words === '' ? '' : `: ${words}`}`;
      }
    });
  }

  private followPointer(): () => void {
    return effect(() => {
      const piece = this.explorer.selection.hovered.value;
      const picture = this.explorer.playback.picture.value;
      clearTimeout(this.timer);
      this.words.value = piece === undefined || picture === undefined ? '' : this.fromPicture(piece);
      if (piece !== undefined && !('link' in piece) && !this.explorer.playback.playing.value) {
        this.timer = setTimeout(() => this.asks.want(piece), REST);
      }
    });
  }

  /** What the picture itself tells of a piece. */
  fromPicture(piece: Piece): string {
    const picture = this.explorer.playback.picture.peek();
    const shape = this.explorer.trace.shape.peek();
    if (picture === undefined || shape === undefined) {
      return '';
    }
    if ('pe' in piece) {
      const touch = elementTouch(picture.elements[elementNumber(shape, placeOf(piece.pe))] ?? 0);
      return touch === undefined ? 'no fire yet' : touchText(touch, 4);
    }
    if ('switch' in piece) {
      const [column, row] = piece.switch;
      const touch = switchTouch(picture.switches[row * shape.clusters[0] + column] ?? 0);
      return touch === undefined ? 'no transmission yet' : touchText(touch, 8);
    }
    return '';
  }

  private async ask(piece: Piece, stop: AbortSignal): Promise<void> {
    const { engine, trace, view, playback, selection } = this.explorer;
    const shape = trace.shape.peek();
    if (shape === undefined) {
      return;
    }
    const moment = momentOf(view.reading.peek(), playback.now.peek(), view.skipTo.peek());
    try {
      const { head } = await engine.ask(trace.fingerprint.peek(), 'piece', { ...moment, piece, shape }, { signal: stop });
      if (selection.hovered.peek() === piece && head.touched !== null) {
        this.words.value = touchedText(this.explorer, head.touched);
      }
    } catch {
      // What the picture tells stays.
    }
  }
}

/** The name of a piece, with that of its place where the companion gives one. */
export function namedPiece(explorer: Explorer, piece: Piece): string {
  const place: Place | undefined = 'pe' in piece ? placeOf(piece.pe) : undefined;
  const name = place === undefined ? undefined : explorer.trace.nameOf(place);
  const text = pieceText(piece, explorer.layers.links.answer.value?.head.mesh);
  const shown = text.charAt(0).toUpperCase() + text.slice(1);
  return name === undefined ? shown : `${shown}, ${name}`;
}
