/** A key as it is drawn: its parts, one box each. */
export function Keys({ parts }: { readonly parts: readonly string[] | undefined }) {
  if (parts === undefined || parts.length === 0) {
    return null;
  }
  return (
    <span class="keys" aria-hidden="true">
      {parts.map((part) => (
        <kbd key={part}>{part}</kbd>
      ))}
    </span>
  );
}
