import type { ComponentChildren } from 'preact';
import { useLayoutEffect, useRef } from 'preact/hooks';

import './tooltip.css';

const BESIDE = 14; // pixels right of the pointer
const BELOW = 12;

export interface TooltipProps {
  /** Where the pointer is, or what is pointed at, in pixels of the window. */
  readonly x: number;
  readonly y: number;
  readonly width?: number;
  readonly children: ComponentChildren;
}

/** A few words beside what is pointed at, never over it and never out of the window. */
export function Tooltip({ x, y, width: wide = 0, children }: TooltipProps) {
  const tip = useRef<HTMLDivElement>(null);
  useLayoutEffect(() => {
    const element = tip.current;
    if (element !== null) {
      const { offsetWidth: width, offsetHeight: height } = element;
      const right = x + wide + BESIDE;
      const left = right + width > innerWidth ? x - BESIDE - width : right;
      const top = y + BELOW + height > innerHeight ? y - BELOW - height : y + BELOW;
      element.style.transform = `translate(${Math.round(Math.max(0, left))}px, ${Math.round(Math.max(0, top))}px)`;
    }
  });
  return (
    <div ref={tip} class="tooltip" role="tooltip">
      {children}
    </div>
  );
}
