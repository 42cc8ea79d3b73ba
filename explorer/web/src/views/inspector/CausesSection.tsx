import { counted, rangeText, thousands } from '../../base/words';
import type { Found } from '../../model/causes';
import type { CausesOf } from '../../model/viewStore';
import { usePage } from '../context';
import { Section } from './parts';

const NAMES: Readonly<Record<CausesOf, string>> = {
  chain: 'The chain that led to it',
  back: 'All that led to it',
  forward: 'All that followed from it',
  packet: 'The way of its packet',
  critical: 'The critical path of the run',
};

/** What was found, in a sentence or two. */
export function foundText(found: Found): string {
  const { columns } = found;
  const [first, last] = [columns.cycle[0] ?? 0n, columns.cycle[columns.cycle.length - 1] ?? 0n];
  const sure = found.head.certain ? 'As the companion tells.' : 'In part inferred from threads and places.';
  if (found.of === 'packet') {
    const { cycles, waited } = found.head;
    return `Packet ${found.packet}: ${counted(cycles, 'cycle')} on its way, ${thousands(waited)} of them waiting. ${sure}`;
  }
  const { steps, time } = found.head;
  const many = steps > columns.record.length ? `, the nearest ${thousands(columns.record.length)} shown` : '';
  if (found.of === 'back' || found.of === 'forward') {
    return `${counted(steps, 'event')}${many}, cycles ${rangeText(first, last)}. ${sure}`;
  }
  const spent = `${thousands(time.work)} at work, ${thousands(time.travel)} under way, ${thousands(time.wait)} waiting`;
  return `${counted(steps, 'step')}${many}, cycles ${rangeText(first, last)}: ${spent}. ${sure}`;
}

/** Causes and effects of what is selected, while they are shown. */
export function CausesSection() {
  const { explorer } = usePage();
  const { view, causes, trace, selection } = explorer;
  if (!view.causes.value) {
    return null;
  }
  const packets = trace.head.value?.attributes.some(({ name }) => name === 'packet') === true;
  const offered = (Object.keys(NAMES) as CausesOf[]).filter((of) => of !== 'packet' || packets);
  const found = causes.found.value;
  const nothing =
    selection.selected.value === undefined && view.causesOf.value !== 'critical'
      ? 'Select a PE, a switch or an event.'
      : causes.lacksPacket.value
        ? 'No packet is noted of its last event.'
        : causes.busy
          ? ''
          : 'Nothing is known to have led to it.';
  return (
    <Section title="Causes and effects">
      <select
        class="inspector-choice"
        aria-label="Causes and effects"
        value={view.causesOf.value}
        onChange={(event) => (view.causesOf.value = event.currentTarget.value as CausesOf)}
      >
        {offered.map((of) => (
          <option key={of} value={of}>
            {NAMES[of]}
          </option>
        ))}
      </select>
      <p class="inspector-note" role="status">
        {found === undefined || found.of !== view.causesOf.value ? nothing : foundText(found)}
      </p>
    </Section>
  );
}
