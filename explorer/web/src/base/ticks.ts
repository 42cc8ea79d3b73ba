// Where a ruler has its ticks: round numbers, as close as their words allow.

export interface Ticks {
  /** Of the labelled ticks: 1, 2 or 5 times a power of ten. */
  readonly step: bigint;
  readonly major: readonly bigint[];
  /** The small ones between, without the labelled ones. */
  readonly minor: readonly bigint[];
}

/** The smallest of 1, 2 and 5 times a power of ten that is at least `least` (and at least 1). */
export function roundStep(least: number): bigint {
  for (let power = 1n; ; power *= 10n) {
    for (const digit of [1n, 2n, 5n]) {
      if (Number(digit * power) >= least) return digit * power;
    }
  }
}

/** How many parts a step is cut into by small ticks; whole numbers only. */
function partsOf(step: bigint): bigint {
  if (step === 1n) return 1n;
  return step === 2n ? 2n : 5n;
}

/**
 * Ticks of the whole numbers from `first` to `last`, both included, at most `most` labelled ones
 * (and one more where both ends have one). None where `last` lies before `first`.
 */
export function ticksOf(first: bigint, last: bigint, most: number): Ticks {
  const step = roundStep((Number(last - first) + 1) / Math.max(1, most));
  const small = step / partsOf(step);
  const major: bigint[] = [];
  const minor: bigint[] = [];
  const remainder = ((first % small) + small) % small;
  for (let at = remainder === 0n ? first : first - remainder + small; at <= last; at += small) {
    (at % step === 0n ? major : minor).push(at);
  }
  return { step, major, minor };
}
