/** Keeps the last result as long as what it was made of is the same. */
export function memo<Keys extends readonly unknown[], Value>(make: (...keys: Keys) => Value) {
  let last: { keys: Keys; value: Value } | undefined;
  return (...keys: Keys): Value => {
    if (last === undefined || keys.some((key, i) => key !== last?.keys[i])) {
      last = { keys, value: make(...keys) };
    }
    return last.value;
  };
}
