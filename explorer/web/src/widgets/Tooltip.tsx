import type { ComponentChildren } from 'preact';
import { useLayoutEffect, useRef } from 'preact/hooks';

import './tooltip.css';

const BESIDE = 14; // pixels right of the pointer
const BELOW = 12;

export interface TooltipProps {
  /** Where the pointer is, in pixels of the window. */
  readonly x: number;
  readonly y: number;
  readonly children: ComponentChildren;
}

/** A few words beside the pointer, never under it and never out of the window. */
export function Tooltip({ x, y, children }: TooltipProps) {
  const tip = useRef<HTMLDivElement>(null);
  useLayoutEffect(() => {
    const element = tip.current;
    if (element !== null) {
      const { offsetWidth: width, offsetHeight: height } = element;
      const left = x + BESIDE + width > innerWidth ? x - BESIDE - width : x + BESIDE;
      const top = y + BELOW + height > innerHeight ? y - BELOW - height : y + BELOW;
      element.style.transform = `translate(${Math.round(Math.max(0, left))}px, ${Math.round(Math.max(0, top))}px)`;
    }
  });
  return (
    <div ref={tip} class="tooltip" role="presentation">
      {children}
    </div>
  );
}
