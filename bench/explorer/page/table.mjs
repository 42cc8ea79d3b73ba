// Lines of a table, as bench/trace/Table.h writes them.

let missed = 0;

const line = (what, value, unit, relation, bar, met) => {
  const bound = relation === '' ? ''.padEnd(8) : `${relation} ${bar}`.padEnd(8);
  console.log(`| ${what.padEnd(58)} | ${value.toPrecision(4).padStart(9)} ${unit.padEnd(5)} | ${bound} | ${met} |`);
};

function bounded(what, value, unit, relation, bar, isMet) {
  missed += isMet ? 0 : 1;
  line(what, value, unit, relation, bar, isMet ? 'met' : 'NOT met');
}

export const atMost = (what, value, unit, bar) => bounded(what, value, unit, '<=', bar, value <= bar);
export const atLeast = (what, value, unit, bar) => bounded(what, value, unit, '>=', bar, value >= bar);
export const note = (what, value, unit) => line(what, value, unit, '', 0, '');
export const notMet = () => missed;

export function heading(text) {
  console.log(`\n${text}\n\n| ${'what'.padEnd(58)} | ${'measured'.padEnd(15)} | ${'bar'.padEnd(8)} |      |\n|---|---|---|---|`);
}

/** The median. */
export const middle = (values) => [...values].sort((a, b) => a - b)[Math.floor(values.length / 2)];
