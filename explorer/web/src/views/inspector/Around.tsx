import { thousands } from '../../base/words';
import { notesLine } from '../../model/noteWords';
import type { EventHead } from '../../protocol/answers';
import { Button } from '../../widgets/Button';
import { Icon } from '../../widgets/Icon';
import { usePage } from '../context';
import { Chip, Section } from './parts';
import { eventWords } from './words';

function EventLine({ event }: { readonly event: EventHead }) {
  const { travel } = usePage();
  const { icon, does, other } = eventWords(event);
  const notes = notesLine({ ...event.notes, ...(event.kind === undefined ? {} : { kind: event.kind }) });
  return (
    <li>
      <button type="button" class="event-line" onClick={() => travel.goToRecord(event.record)}>
        <span class="event-cycle">{thousands(BigInt(event.cycle))}</span>
        <Icon name={icon} />
        <span class="event-does" title={notes}>
          {does} {other === undefined ? null : <b>{other}</b>} <i>{notes}</i>
        </span>
        <Chip thread={event.thread} />
      </button>
    </li>
  );
}

/** What the piece does before and after the playhead. */
export function Around({ events }: { readonly events: readonly EventHead[] }) {
  const { explorer, commands } = usePage();
  const { cycle } = explorer.playback.now.value;
  const before = events.filter((event) => BigInt(event.cycle) <= cycle);
  const after = events.filter((event) => BigInt(event.cycle) > cycle);
  const lines = (list: readonly EventHead[]) => list.map((event) => <EventLine key={event.record} event={event} />);
  const steps = (
    <>
      <Button label="Previous event" icon="back" onPress={() => commands.run('select.previousEvent')} />
      <Button label="Next event" icon="forward" onPress={() => commands.run('select.nextEvent')} />
    </>
  );
  return (
    <Section title="Around the playhead" aside={steps}>
      {events.length === 0 ? <p class="inspector-note">It does nothing in this trace.</p> : null}
      <ul class="event-lines">{lines(before)}</ul>
      <div class="event-now">
        <span>cycle {thousands(cycle)}</span>
      </div>
      <ul class="event-lines">{lines(after)}</ul>
    </Section>
  );
}
