// Colours of data. Hue belongs to threads; light and dark have their own, found by search for the
// largest smallest distance under normal and colour-blind sight.

export type Rgb = readonly [number, number, number];
export type ThemeName = 'light' | 'dark';

const hex = (text: string): Rgb => [1, 3, 5].map((at) => parseInt(text.slice(at, at + 2), 16)) as unknown as Rgb;
const list = (text: string): readonly Rgb[] => text.split(' ').map(hex);

export interface Palette {
  readonly paper: Rgb;
  readonly ink: Rgb;
  readonly ink2: Rgb;
  readonly ink3: Rgb;
  readonly control: Rgb;
  readonly surface: Rgb;
  readonly line: Rgb;
  readonly accent: Rgb;
  readonly danger: Rgb;
  /** How much of the accent lies over a chosen range. */
  readonly wash: number;
  readonly idle: Rgb;
  readonly cluster: Rgb;
  readonly threads: readonly Rgb[];
  /** Low recedes into the paper; 16 stops of strictly monotone lightness. */
  readonly sequential: readonly Rgb[];
  /** Blue is less, orange more. */
  readonly diverging: readonly Rgb[];
}

export const PALETTES: Readonly<Record<ThemeName, Palette>> = {
  light: {
    paper: hex('#ffffff'),
    ink: hex('#14181f'),
    ink2: hex('#434c59'),
    ink3: hex('#5f6977'),
    control: hex('#7c8796'),
    surface: hex('#f5f6f8'),
    line: hex('#d9dde4'),
    accent: hex('#1a5cc0'),
    danger: hex('#b3261e'),
    wash: 0.1,
    idle: hex('#8b95a3'),
    cluster: hex('#b9c0ca'),
    threads: list('#2f28b5 #f55f25 #51a28e #a00061 #b279f7 #2c3303'),
    sequential: list(
      '#f3e9b8 #e1dab3 #cfccae #bdbea8 #abb0a3 #9aa29d #899498 #788692 #68788b #586b85 #485d7e #395077 #2a4370 #1c3569 #0e2761 #03185a',
    ),
    diverging: list(
      '#004296 #285aa3 #4671b0 #6487bc #829ec8 #a0b5d4 #bfccdf #dee3e9 #ebe4e0 #e3cec3 #dbb9a7 #d2a48a #c98f6e #bf7952 #b46433 #a94e00',
    ),
  },
  dark: {
    paper: hex('#14171c'),
    ink: hex('#eef1f5'),
    ink2: hex('#bcc5d0'),
    ink3: hex('#97a2b0'),
    control: hex('#758193'),
    surface: hex('#1b1f26'),
    line: hex('#323a46'),
    accent: hex('#84b4ff'),
    danger: hex('#ff9389'),
    wash: 0.14,
    idle: hex('#64707f'),
    cluster: hex('#465060'),
    threads: list('#3569ec #ef9820 #a2fcc0 #dc468f #beafff #81601a'),
    sequential: list(
      '#213a71 #2e4675 #3b5278 #495f7b #576a7e #657680 #748282 #838e84 #929a85 #a2a685 #b2b385 #c2bf84 #d2cb83 #e3d881 #f3e47e #fff17b',
    ),
    diverging: list(
      '#86c3ff #79ade2 #6c97c3 #6081a4 #536c87 #47586a #3b454f #2f3235 #35312d #4f4235 #6a533c #876543 #a47749 #c3894f #e29c54 #ffb059',
    ),
  },
};

/** The viewer's six threads, for chips and the timeline beside its picture. */
export const VIEWER_THREADS: readonly Rgb[] = list('#ff0101 #01ff01 #ffff01 #0101ff #ff01ff #01ffff');

/** How much of a cell is the colour of its thread, by age; the last one is for all older ones. */
export const ELEMENT_FILLS = [1, 0.82, 0.68, 0.56, 0.38] as const;
export const SWITCH_FILLS = [1, 0.82, 0.68, 0.56, 0.46, 0.38] as const;

/** The side of a cell as a share of its room, by age. */
export const ELEMENT_SIDES = [1, 0.94, 0.88, 0.82, 0.72] as const;

/** `share` of `color`, the rest of `ground`. */
export const mix = (color: Rgb, ground: Rgb, share: number): Rgb =>
  color.map((over, i) => {
    const under = ground[i] ?? 0;
    return Math.round(under + (over - under) * share);
  }) as unknown as Rgb;

export const css = (color: Rgb): string => `rgb(${color.join(' ')})`;

const linear = (channel: number): number => {
  const share = channel / 255;
  return share <= 0.04045 ? share / 12.92 : ((share + 0.055) / 1.055) ** 2.4;
};

/** Relative luminance of WCAG 2.1. */
export const luminance = (color: Rgb): number =>
  0.2126 * linear(color[0]) + 0.7152 * linear(color[1]) + 0.0722 * linear(color[2]);

const DARK_INK = hex('#10141a');
const LIGHT_INK = hex('#ffffff');

/** The ink that can be read on a colour. */
export const inkOn = (color: Rgb): Rgb => (luminance(color) > 0.18 ? DARK_INK : LIGHT_INK);

/** The stop of a map for a share of its scale; what is beyond the end has the last one. */
export function stopOf(map: readonly Rgb[], share: number): Rgb {
  const at = Math.round(Math.min(1, Math.max(0, share)) * (map.length - 1));
  return map[at] ?? LIGHT_INK;
}

/** The colours of threads (modulo 6) as the page shows them now. */
export const threadColours = (theme: ThemeName, asViewer: boolean): readonly Rgb[] =>
  asViewer ? VIEWER_THREADS : PALETTES[theme].threads;
