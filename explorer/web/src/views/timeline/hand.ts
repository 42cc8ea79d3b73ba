import { isHeld } from '../../input/drag';
import { centreOn, edgeDrag, frameDrag, panDrag, pinchDrag, rangeDrag, scrub, scrubDrag, type Drag, type Hand } from './drags';
import type { TimelineScene } from './scene';
import { cursorOf, zoneAt, type Zone } from './zones';

const CLICK = 5; // pixels: less is no drag
const LINE = 16; // pixels of a wheel that counts lines
const ZOOM_PER_PIXEL = 0.002;
const WHEEL_HELD = 60; // milliseconds after which a wheel's turn has ended

interface Press {
  readonly id: number;
  readonly from: Hand;
  readonly zone: Zone;
  readonly shift: boolean;
  drag: Drag | undefined;
  readonly since: number;
}

/** Pointer and wheel over the strips. */
export class TimelineHand {
  private press: Press | undefined;
  private fingers = new Map<number, number>();
  private pinch: { readonly move: (a: number, b: number) => void; readonly ids: readonly [number, number] } | undefined;
  private wheel = { at: -Infinity, does: 'scroll' as 'scroll' | 'pan' | 'zoom' };

  constructor(
    private readonly scene: TimelineScene,
    private readonly element: HTMLElement,
  ) {}

  /** Listens to the element; returns what ends that. */
  follow(): () => void {
    const end = new AbortController();
    const { signal } = end;
    const { element } = this;
    element.addEventListener('pointerdown', (event) => this.down(event), { signal });
    element.addEventListener('pointermove', (event) => this.move(event), { signal });
    element.addEventListener('pointerup', (event) => this.up(event), { signal });
    element.addEventListener('pointercancel', (event) => this.cancel(event), { signal });
    element.addEventListener('pointerleave', () => this.leave(), { signal });
    element.addEventListener('dblclick', (event) => this.twice(event), { signal });
    element.addEventListener('wheel', (event) => this.turn(event), { signal, passive: false });
    return () => end.abort();
  }

  private at(event: MouseEvent): { readonly x: number; readonly y: number } {
    const box = this.element.getBoundingClientRect();
    return { x: event.clientX - box.left, y: event.clientY - box.top };
  }

  private handOf(event: MouseEvent): Hand {
    return { x: this.at(event).x, snapping: !event.altKey };
  }

  private zone(event: MouseEvent): Zone | undefined {
    const { x, y } = this.at(event);
    const frame = this.scene.frame.peek();
    const { range, marks } = this.scene.over.peek();
    return zoneAt({ ...frame, width: frame.size.width, rem: frame.size.rem, range, marks }, x, y);
  }

  private down(event: PointerEvent): void {
    if (event.button !== 0) {
      return;
    }
    this.element.setPointerCapture(event.pointerId);
    this.fingers.set(event.pointerId, this.at(event).x);
    if (event.pointerType === 'touch' && this.fingers.size === 2) {
      this.beginPinch();
      return;
    }
    const zone = this.zone(event);
    if (zone === undefined || this.press !== undefined) {
      return;
    }
    const from = this.handOf(event);
    this.press = { id: event.pointerId, from, zone, shift: event.shiftKey, drag: undefined, since: event.timeStamp };
    if (zone.kind === 'ruler' && !event.shiftKey) {
      scrub(this.scene, from.x);
    }
  }

  private dragOf(zone: Zone, from: Hand, pans: boolean): Drag | undefined {
    const range = this.scene.over.peek().range;
    switch (zone.kind) {
      case 'overview':
      case 'frame':
      case 'frameLeft':
      case 'frameRight':
        return frameDrag(this.scene, zone.kind, from);
      case 'rangeLeft':
      case 'rangeRight':
        return range && edgeDrag(this.scene, range, zone.kind === 'rangeLeft' ? 'left' : 'right');
      case 'ruler':
      case 'mark':
        return pans ? panDrag(this.scene, from) : scrubDrag(this.scene);
      case 'strip':
        return pans ? panDrag(this.scene, from) : rangeDrag(this.scene, from);
    }
  }

  private move(event: PointerEvent): void {
    const { x } = this.at(event);
    if (this.fingers.has(event.pointerId)) {
      this.fingers.set(event.pointerId, x);
    }
    if (this.pinch !== undefined) {
      const [a, b] = this.pinch.ids.map((id) => this.fingers.get(id));
      if (a !== undefined && b !== undefined) {
        this.pinch.move(a, b);
      }
      return;
    }
    this.point(event);
    const { press } = this;
    if (press === undefined || press.id !== event.pointerId) {
      return;
    }
    if (press.drag === undefined && Math.abs(x - press.from.x) > CLICK) {
      const pans = event.pointerType === 'touch' && press.zone.kind === 'strip' && !isHeld(event, press.since);
      press.drag = this.dragOf(press.zone, press.from, press.shift || pans);
    }
    press.drag?.(this.handOf(event));
  }

  /** Tells where the pointer is, for the hover line, zooming and the cursor. */
  private point(event: PointerEvent): void {
    const { x, y } = this.at(event);
    const { size } = this.scene.frame.peek();
    const inside = x >= 0 && x <= size.width && y >= 0 && y <= size.height;
    const zone = this.press?.zone ?? this.zone(event);
    const hovers = inside && event.pointerType !== 'touch' && zone?.kind === 'strip';
    const pointing = hovers && this.press?.drag === undefined;
    this.scene.hover.value = pointing ? x : undefined;
    this.scene.pointed.value =
      pointing && zone.kind === 'strip' ? { row: zone.row, x: event.clientX, y: event.clientY } : undefined;
    this.scene.page.timeline.pointer.value = inside ? x / size.width : undefined;
    this.element.style.cursor = cursorOf(zone);
  }

  private leave(): void {
    this.scene.hover.value = undefined;
    this.scene.pointed.value = undefined;
    this.scene.page.timeline.pointer.value = undefined;
  }

  private up(event: PointerEvent): void {
    this.fingers.delete(event.pointerId);
    const { press } = this;
    if (this.pinch !== undefined) {
      this.pinch = this.fingers.size === 0 ? undefined : this.pinch;
      this.press = undefined;
      return;
    }
    if (press === undefined || press.id !== event.pointerId) {
      return;
    }
    this.press = undefined;
    if (press.drag === undefined) {
      this.click(press);
    }
  }

  private cancel(event: PointerEvent): void {
    this.fingers.delete(event.pointerId);
    this.press = undefined;
    this.pinch = undefined;
  }

  private click({ zone, from, shift }: Press): void {
    const { explorer, travel, commands } = this.scene.page;
    switch (zone.kind) {
      case 'overview':
        return centreOn(this.scene, from.x);
      case 'mark':
        if (zone.mark.piece !== undefined) {
          explorer.selection.selectPiece(zone.mark.piece);
        }
        travel.goToCycle(zone.mark.cycle);
        return;
      case 'ruler':
        if (shift) {
          scrub(this.scene, from.x);
          commands.run('mark.keep');
        }
        return;
      case 'strip':
        return scrub(this.scene, from.x);
      default:
        return;
    }
  }

  private twice(event: MouseEvent): void {
    const { explorer, timeline } = this.scene.page;
    const range = explorer.time.range.peek();
    const kind = this.zone(event)?.kind;
    if (kind === 'frame' || kind === 'overview') {
      timeline.mover.whole();
    } else if (range !== undefined) {
      timeline.mover.toSpan(range.first, range.last);
    }
  }

  private beginPinch(): void {
    const [a, b] = [...this.fingers.entries()];
    if (a !== undefined && b !== undefined) {
      this.press = undefined;
      this.pinch = { move: pinchDrag(this.scene, a[1], b[1]), ids: [a[0], b[0]] };
    }
  }

  /** What a turn of the wheel does is decided when it begins: coasting must not become another thing. */
  private turn(event: WheelEvent): void {
    event.preventDefault();
    const now = event.timeStamp;
    const sideways = event.shiftKey || Math.abs(event.deltaX) > Math.abs(event.deltaY);
    const asked = event.ctrlKey || event.metaKey ? 'zoom' : sideways ? 'pan' : 'scroll';
    this.wheel = { at: now, does: now - this.wheel.at < WHEEL_HELD ? this.wheel.does : asked };
    const unit = event.deltaMode === 1 ? LINE : 1;
    const { mover } = this.scene.page.timeline;
    const { view, size, layout } = this.scene.frame.peek();
    const [dx, dy] = [event.deltaX * unit, event.deltaY * unit];
    switch (this.wheel.does) {
      case 'zoom':
        return mover.zoomBy(Math.exp(dy * ZOOM_PER_PIXEL), this.at(event).x / size.width);
      case 'pan':
        return mover.panBy(((Math.abs(dx) > Math.abs(dy) ? dx : dy) / size.width) * view.span);
      case 'scroll':
        this.scene.scroll.value = Math.min(layout.mostScroll, Math.max(0, this.scene.scroll.peek() + dy));
    }
  }
}
