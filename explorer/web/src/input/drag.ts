import type { Spot } from '../base/floorplan/layout';

/** What a hand does on a surface, in CSS pixels from its upper left corner. */
export interface Hand {
  press(spot: Spot, shift: boolean): void;
  /** Moved while pressed, by more than a click moves. */
  drag(from: Spot, to: Spot, last: Spot, shift: boolean): void;
  drop(from: Spot, to: Spot, shift: boolean): void;
  click(spot: Spot, shift: boolean): void;
  doubleClick(spot: Spot): void;
  hover(spot: Spot | undefined): void;
  /** Two fingers: apart or together by a factor, and where their middle went. */
  pinch(factor: number, middle: Spot, moved: Spot): void;
  /** Turned by so many pixels. */
  wheel(spot: Spot, dx: number, dy: number, event: WheelEvent): void;
}

export const CLICK_SLACK = 5; // pixels that a click may move
const HELD = 400; // milliseconds
const LINE = 20; // pixels of a line, where a wheel counts lines

const between = (a: Spot, b: Spot): Spot => ({ x: (a.x + b.x) / 2, y: (a.y + b.y) / 2 });
const apart = (a: Spot, b: Spot): number => Math.hypot(a.x - b.x, a.y - b.y);

/** Follows pointers on an element; returns what ends that. */
export function followHand(element: HTMLElement, hand: Hand): () => void {
  const follower = new Follower(element, hand);
  const ends = new AbortController();
  const options = { signal: ends.signal };
  element.addEventListener('pointerdown', (event) => follower.down(event), options);
  element.addEventListener('pointermove', (event) => follower.move(event), options);
  element.addEventListener('pointerup', (event) => follower.up(event), options);
  element.addEventListener('pointercancel', (event) => follower.cancel(event), options);
  element.addEventListener('pointerleave', () => hand.hover(undefined), options);
  element.addEventListener('dblclick', (event) => hand.doubleClick(follower.spotOf(event)), options);
  element.addEventListener('wheel', (event) => follower.wheel(event), { ...options, passive: false });
  return () => ends.abort();
}

interface Touch {
  readonly first: Spot;
  last: Spot;
  readonly since: number;
  held: boolean;
}

/** A finger that rests before it moves stands for Shift, which it has not. */
export const isHeld = (event: PointerEvent, since: number): boolean =>
  event.pointerType === 'touch' && event.timeStamp - since > HELD;

class Follower {
  private readonly touches = new Map<number, Touch>();
  private dragging = false;

  constructor(
    private readonly element: HTMLElement,
    private readonly hand: Hand,
  ) {}

  spotOf(event: MouseEvent): Spot {
    const box = this.element.getBoundingClientRect();
    return { x: event.clientX - box.left, y: event.clientY - box.top };
  }

  down(event: PointerEvent): void {
    if (event.button !== 0) {
      return;
    }
    const spot = this.spotOf(event);
    this.touches.set(event.pointerId, { first: spot, last: spot, since: event.timeStamp, held: false });
    this.element.setPointerCapture(event.pointerId);
    this.dragging = this.touches.size > 1;
    if (this.dragging) {
      this.touches.forEach((touch) => (touch.held = false)); // two zoom, and select nothing
    }
    this.hand.press(spot, event.shiftKey);
  }

  move(event: PointerEvent): void {
    const spot = this.spotOf(event);
    const touch = this.touches.get(event.pointerId);
    if (touch === undefined) {
      this.hand.hover(spot);
      return;
    }
    const last = touch.last;
    touch.last = spot;
    if (this.touches.size === 2) {
      this.pinch(event.pointerId, last);
    } else if (this.dragging || apart(touch.first, spot) > CLICK_SLACK) {
      const from = this.dragging ? last : touch.first;
      touch.held ||= !this.dragging && isHeld(event, touch.since);
      this.dragging = true;
      this.hand.drag(touch.first, spot, from, event.shiftKey || touch.held);
    }
  }

  up(event: PointerEvent): void {
    const touch = this.touches.get(event.pointerId);
    this.touches.delete(event.pointerId);
    if (touch === undefined || this.touches.size > 0) {
      return;
    }
    const spot = this.spotOf(event);
    if (this.dragging) {
      this.hand.drop(touch.first, spot, event.shiftKey || touch.held);
    } else {
      this.hand.click(spot, event.shiftKey);
    }
    this.dragging = false;
  }

  cancel(event: PointerEvent): void {
    this.touches.delete(event.pointerId);
    this.dragging = this.touches.size > 0;
    this.hand.press(this.spotOf(event), false); // what was begun is forgotten
  }

  wheel(event: WheelEvent): void {
    event.preventDefault();
    const scale = event.deltaMode === WheelEvent.DOM_DELTA_PIXEL ? 1 : LINE;
    this.hand.wheel(this.spotOf(event), event.deltaX * scale, event.deltaY * scale, event);
  }

  private pinch(moved: number, last: Spot): void {
    const other = [...this.touches].find(([id]) => id !== moved)?.[1].last;
    const now = this.touches.get(moved)?.last;
    if (other === undefined || now === undefined) {
      return;
    }
    const before = Math.max(1, apart(last, other));
    const middle = between(now, other);
    const was = between(last, other);
    this.hand.pinch(apart(now, other) / before, middle, { x: middle.x - was.x, y: middle.y - was.y });
  }
}
