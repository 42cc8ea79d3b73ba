import { usePage } from '../context';

/** Up to which cycle the viewer would pass over the trace without drawing: its flag `-F`. */
export function ViewerLegend() {
  const { view } = usePage().explorer;
  return (
    <>
      <h2 class="rail-title">The viewer</h2>
      <label class="legend">
        starts at cycle (its flag -F)
        <input
          class="legend-choice"
          inputMode="numeric"
          pattern="[0-9]*"
          value={String(view.skipTo.value)}
          onChange={({ currentTarget }) => {
            const text = currentTarget.value.replaceAll(/[, ]/g, '');
            if (/^\d{1,18}$/.test(text)) {
              view.skipTo.value = BigInt(text);
            }
            currentTarget.value = String(view.skipTo.value);
          }}
        />
      </label>
    </>
  );
}
