// Which known word somebody meant who typed another one.

/** Letters to add, drop or change, or pairs of neighbours to swap, to get from one to the other. */
export function editDistance(a: string, b: string): number {
  let before: number[] = [];
  let last = Array.from({ length: b.length + 1 }, (_, j) => j);
  for (let i = 1; i <= a.length; ++i) {
    const row = [i];
    for (let j = 1; j <= b.length; ++j) {
      const same = a[i - 1] === b[j - 1];
      let cost = Math.min(last[j]! + 1, row[j - 1]! + 1, last[j - 1]! + (same ? 0 : 1));
      if (i > 1 && j > 1 && a[i - 1] === b[j - 2] && a[i - 2] === b[j - 1]) {
        cost = Math.min(cost, before[j - 2]! + 1);
      }
      row.push(cost);
    }
    before = last;
    last = row;
  }
  return last[b.length]!;
}

/** The known word that lies nearest, or that `word` begins; nothing where none is near. */
export function nearestWord(word: string, known: readonly string[]): string | undefined {
  const lower = word.toLowerCase();
  const most = lower.length <= 3 ? 1 : 2;
  let best: string | undefined;
  let bestDistance = most + 1;
  for (const candidate of known) {
    const begins = lower.length >= 2 && candidate.toLowerCase().startsWith(lower);
    const distance = begins ? 0.5 : editDistance(lower, candidate.toLowerCase());
    if (distance < bestDistance) {
      best = candidate;
      bestDistance = distance;
    }
  }
  return best;
}
