/** The highest cycle that a record can have. */
export const MOST_CYCLE = (1n << 64n) - 1n;

export const clamp = (cycle: bigint, least: bigint, most: bigint): bigint =>
  cycle < least ? least : cycle > most ? most : cycle;
