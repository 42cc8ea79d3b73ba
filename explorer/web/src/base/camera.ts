import { LEAST_PITCH, lengthsOf, type Look, type Plan, type Spot } from './floorplan/layout';
import type { Shape } from './shape';

/**
 * What of the array is seen: how much larger than fitted, and which spot of the array is in the
 * middle, in distances of elements from its lower left corner.
 */
export interface Camera {
  readonly zoom: number;
  readonly x: number;
  readonly y: number;
}

/** A canvas, in CSS pixels, and what is left free around a fitted array for numbers on the edges. */
export interface Stage {
  readonly width: number;
  readonly height: number;
  readonly ratio: number;
  readonly margin: number;
  /** What is left free besides on each side, for links that go around the edge: elements. */
  readonly around?: readonly [number, number];
}

export const MOST_PITCH = 96; // CSS pixels
const LEAST_ZOOM = 0.25;
const NUMBERS = 4; // pixels that the array is off the middle, since its numbers stand left and below

/** CSS pixels from one element to the next where all of the array is seen; whole ones from 4 on. */
export function fitPitch(shape: Shape, plan: Plan, stage: Stage): number {
  const [across, up] = lengthsOf(shape, plan);
  const [beside = 0, above = 0] = stage.around ?? [];
  const pitch = Math.min(
    (stage.width - 2 * stage.margin) / (across + 2 * beside),
    (stage.height - 2 * stage.margin) / (up + 2 * above),
  );
  return pitch >= LEAST_PITCH ? Math.min(MOST_PITCH, Math.floor(pitch)) : Math.max(0.01, pitch);
}

export function fitted(shape: Shape, plan: Plan): Camera {
  const [across, up] = lengthsOf(shape, plan);
  return { zoom: 1, x: across / 2, y: up / 2 };
}

/** Device pixels from one element to the next. Whole ones where elements are drawn. */
function devicePitch(css: number, ratio: number): number {
  return css >= LEAST_PITCH ? Math.max(1, Math.round(css * ratio)) : css * ratio;
}

export function clampZoom(zoom: number, fit: number): number {
  const most = Math.max(1, MOST_PITCH / fit);
  return Math.min(most, Math.max(LEAST_ZOOM, zoom));
}

/** What a camera sees; without one, all of the array. */
export function lookOf(shape: Shape, plan: Plan, stage: Stage, camera: Camera | undefined): Look {
  const at = camera ?? fitted(shape, plan);
  const pitch = devicePitch(fitPitch(shape, plan, stage) * at.zoom, stage.ratio);
  const shift = camera === undefined ? NUMBERS : 0;
  return {
    plan,
    pitch,
    ratio: stage.ratio,
    width: Math.round(stage.width * stage.ratio),
    height: Math.round(stage.height * stage.ratio),
    left: Math.round((stage.width / 2 + shift) * stage.ratio - at.x * pitch),
    bottom: Math.round((stage.height / 2 - shift) * stage.ratio + at.y * pitch),
  };
}

/** The camera that shows what a look shows; for one that begins to move. */
export function cameraOf(look: Look, fit: number): Camera {
  return {
    zoom: look.pitch / look.ratio / fit,
    x: (look.width / 2 - look.left) / look.pitch,
    y: (look.bottom - look.height / 2) / look.pitch,
  };
}

/** Zoomed by a factor; the spot (in device pixels) stays where it is. */
export function zoomedAt(camera: Camera, look: Look, fit: number, factor: number, spot: Spot): Camera {
  const zoom = clampZoom(camera.zoom * factor, fit);
  const next = devicePitch(fit * zoom, look.ratio);
  const x = (spot.x - look.left) / look.pitch;
  const y = (look.bottom - spot.y) / look.pitch;
  return {
    zoom,
    x: x - (spot.x - look.width / 2) / next,
    y: y + (spot.y - look.height / 2) / next,
  };
}

/** Moved with the hand by device pixels. */
export function pannedBy(camera: Camera, look: Look, dx: number, dy: number): Camera {
  return { ...camera, x: camera.x - dx / look.pitch, y: camera.y + dy / look.pitch };
}
