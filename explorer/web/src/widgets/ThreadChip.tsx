import { css, inkOn, type Rgb } from '../theme/palettes';

/** The square of a thread's colour with the thread's number modulo 6 in it. */
export function ThreadChip(props: { readonly thread: number; readonly colours: readonly Rgb[]; readonly edge: boolean }) {
  const number = props.thread % 6;
  const colour = props.colours[number];
  if (colour === undefined) {
    return null;
  }
  return (
    <span
      class="thread-chip"
      style={{
        background: css(colour),
        color: css(inkOn(colour)),
        boxShadow: props.edge ? '0 0 0 1px var(--control)' : 'none',
      }}
    >
      {number}
    </span>
  );
}
