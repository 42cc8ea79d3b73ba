import type { StripColours } from '../../gl/strips/strip';
import { css, mix, PALETTES, threadColours, type ThemeName } from '../../theme/palettes';

/** The colours of all strips in a theme; the viewer's reading has the viewer's threads. */
export function stripColours(theme: ThemeName, asViewer: boolean): StripColours {
  const palette = PALETTES[theme];
  return {
    paper: css(palette.paper),
    surface: css(palette.surface),
    line: css(palette.line),
    control: css(palette.control),
    ink: css(palette.ink),
    ink2: css(palette.ink2),
    ink3: css(palette.ink3),
    accent: css(palette.accent),
    danger: css(palette.danger),
    wash: `rgb(${palette.accent.join(' ')} / ${100 * palette.wash}%)`,
    threads: [...threadColours(theme, asViewer), palette.ink3].map(css),
    edge: asViewer ? css(palette.control) : undefined,
  };
}

/** Fires, messages and transmissions: ink of three strengths, since hue belongs to threads. */
export function typeColours(theme: ThemeName): readonly string[] {
  const { ink3, paper } = PALETTES[theme];
  return [1, 0.65, 0.35].map((share) => css(mix(ink3, paper, share)));
}
