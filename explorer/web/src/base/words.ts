// How numbers are written: thousands with a comma, ranges with an en dash.

const grouped = new Intl.NumberFormat('en-GB', { maximumFractionDigits: 20 });

export const thousands = (number: number | bigint): string => grouped.format(number);

export const rangeText = (first: number | bigint, last: number | bigint): string =>
  first === last ? thousands(first) : `${thousands(first)}–${thousands(last)}`;

/** "1 cycle", "43 cycles". */
export const counted = (number: number | bigint, word: string, words = `${word}s`): string =>
  `${thousands(number)} ${number === 1 || number === 1n ? word : words}`;

export const capital = (text: string): string => text.charAt(0).toUpperCase() + text.slice(1);
