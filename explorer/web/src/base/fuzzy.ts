// Finding names by some of their letters.

/** Letters that matched, from the first, up to the last, not included. */
export type Span = readonly [number, number];

export interface Match {
  /** Higher is better. */
  readonly score: number;
  readonly spans: readonly Span[];
}

const startsWord = (name: string, at: number): boolean => at === 0 || /[^a-z0-9]/.test(name[at - 1] ?? '');

/** The letters of `wanted` one after the other in `name`, each as early as it can be. */
function scattered(name: string, wanted: string): Match | undefined {
  const spans: [number, number][] = [];
  let [from, score] = [0, 0];
  for (const letter of wanted) {
    const at = name.indexOf(letter, from);
    if (at < 0) {
      return undefined;
    }
    const last = spans[spans.length - 1];
    if (last !== undefined && last[1] === at) {
      last[1] = at + 1;
      score += 2;
    } else {
      spans.push([at, at + 1]);
      score += startsWord(name, at) ? 3 : -2;
    }
    from = at + 1;
  }
  return { score, spans };
}

/**
 * How well letters match a name, whatever their case: as a whole at the start of a word, as a whole
 * within one, or one after the other, of which most must stand together or begin words. Spaces of
 * what is wanted separate parts, which all must match.
 */
export function fuzzyMatch(name: string, wanted: string): Match | undefined {
  const lower = name.toLowerCase();
  let score = 0;
  const spans: Span[] = [];
  for (const part of wanted.toLowerCase().split(/\s+/).filter((word) => word !== '')) {
    const starts = [...lower.matchAll(/[a-z0-9]+/g)].find((word) => word[0].startsWith(part))?.index;
    const whole = starts ?? lower.indexOf(part);
    if (whole >= 0) {
      score += (starts === undefined ? 50 : 100) - whole / 10;
      spans.push([whole, whole + part.length]);
      continue;
    }
    const match = scattered(lower, part);
    if (match === undefined || match.score < part.length) {
      return undefined;
    }
    score += match.score;
    spans.push(...match.spans);
  }
  return { score, spans: [...spans].sort((a, b) => a[0] - b[0]) };
}

/** The name in parts, each with whether it matched. */
export function matchedParts(name: string, spans: readonly Span[]): readonly { text: string; matched: boolean }[] {
  const parts: { text: string; matched: boolean }[] = [];
  let at = 0;
  for (const [from, to] of spans) {
    if (from > at) {
      parts.push({ text: name.slice(at, from), matched: false });
    }
    if (to > Math.max(at, from)) {
      parts.push({ text: name.slice(Math.max(at, from), to), matched: true });
    }
    at = Math.max(at, to);
  }
  if (at < name.length) {
    parts.push({ text: name.slice(at), matched: false });
  }
  return parts;
}
