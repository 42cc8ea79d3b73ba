import { useSignal } from '@preact/signals';
import { useEffect } from 'preact/hooks';

import { withoutWord } from '../../base/filterWords';
import { counted, rangeText, thousands } from '../../base/words';
import { eventsTake } from '../../model/takeAway';
import type { EventList } from '../../model/eventList';
import type { EventRow } from '../../model/eventPage';
import type { EventType } from '../../protocol/questions';
import { AskError } from '../../protocol/fault';
import { Button } from '../../widgets/Button';
import { Icon } from '../../widgets/Icon';
import type { IconName } from '../../widgets/icons';
import { VirtualList } from '../../widgets/VirtualList';
import { usePage } from '../context';
import { DockHead } from '../dock/DockHead';
import { Chip } from '../inspector/parts';
import { saveDirectly } from '../takeAway/save';
import { listOf } from './listOf';
import { copyRows } from './takeRows';
import { FilterBox } from './FilterBox';
import './events.css';

const ROW = 1.375; // rem
const ICONS: Readonly<Record<EventType, IconName>> = { fire: 'thread', send: 'message', switch: 'switch' };

const NAMES = ['Record', 'Cycle', 'What', 'Thread', 'From', 'To'];
const ROW_CLASS = { plain: 'event-row', noted: 'event-row noted' } as const;
type RowLook = keyof typeof ROW_CLASS;

function Names({ look }: { readonly look: RowLook }) {
  return (
    <div class="event-head" role="rowgroup">
      <div class={ROW_CLASS[look]} role="row">
        {[...NAMES, ...(look === 'noted' ? ['Notes'] : [])].map((name) => (
          <span key={name} role="columnheader">
            {name}
          </span>
        ))}
      </div>
    </div>
  );
}

function Row({ event, look }: { readonly event: EventRow | undefined; readonly look: RowLook }) {
  if (event === undefined) {
    return <div class={ROW_CLASS[look]} role="presentation" />;
  }
  return (
    <div class={ROW_CLASS[look]} role="presentation">
      <span role="gridcell">{thousands(event.record)}</span>
      <span role="gridcell">{thousands(event.cycle)}</span>
      <span role="gridcell">
        <Icon name={ICONS[event.type]} />
        {event.type}
      </span>
      <span role="gridcell" aria-label={`thread ${event.thread}`}>
        <Chip thread={event.thread} />
        {event.thread > 5 ? event.thread : null}
      </span>
      <span role="gridcell">{event.at.join(',')}</span>
      <span role="gridcell">{event.to?.join(',')}</span>
      {look === 'noted' ? (
        <span role="gridcell" class="event-notes" title={event.notes}>
          {event.notes}
        </span>
      ) : null}
    </div>
  );
}

/** How many match, and what can be done with them. */
function Count({ list }: { readonly list: EventList }) {
  const page = usePage();
  const { explorer } = page;
  const count = list.counted.value;
  const records = explorer.trace.head.value?.records ?? 0;
  const range = list.range.value;
  const busy = useSignal(false);
  const done = useSignal('');
  const take = async (work: () => Promise<string>) => {
    busy.value = true;
    done.value = await work();
    explorer.panels.said.value = done.value;
    busy.value = false;
  };
  return (
    <div class="event-count">
      <span role="status">
        {count === undefined ? null : (
          <>
            <b>{thousands(count.count)}</b>
            {count.count === records && list.text.value.trim() === ''
              ? ' records'
              : ` of ${counted(records, 'record')} ${range === undefined ? 'match' : `match in cycles ${rangeText(range.first, range.last)}`}`}
          </>
        )}
      </span>
      <span class="grow" />
      <Button
        label="Copy the events"
        icon="copy"
        disabled={busy.value || (count?.count ?? 0) === 0}
        onPress={() => void take(() => copyRows(list))}
      >
        Copy
      </Button>
      <Button
        label="Save the events as CSV"
        icon="out"
        disabled={busy.value || (count?.count ?? 0) === 0}
        onPress={() => saveDirectly(page, eventsTake(explorer, list.filter.peek(), 'csv'))}
      >
        CSV
      </Button>
      <Button label="Copy as command" icon="terminal" onPress={() => page.commands.run('share.eventsCommand')} />
      {done.value === '' ? null : <p class="event-done">{done.value}</p>}
    </div>
  );
}

/** Why there are no rows, and which word to leave out. */
function NoRows({ list }: { readonly list: EventList }) {
  const { explorer } = usePage();
  const failure = list.failure.value;
  if (failure instanceof AskError) {
    return <p class="event-none">{failure.message}</p>;
  }
  if (list.counted.value?.count !== 0) {
    return null;
  }
  const relief = list.relief.value;
  const word = relief === undefined ? undefined : list.words.value.words[relief.word];
  return (
    <p class="event-none" role="status">
      <b>No record matches.</b>{' '}
      {list.range.value === undefined
        ? `The trace ends at cycle ${thousands(explorer.trace.lastCycle.value)}.`
        : 'Only those in the range are looked for.'}{' '}
      {relief === undefined || word === undefined ? null : (
        <>
          Remove{' '}
          <button
            type="button"
            class="filter-choice"
            onClick={() => (list.text.value = withoutWord(list.words.value, relief.word))}
          >
            {word.text}
          </button>{' '}
          to get {thousands(relief.count)}.
        </>
      )}
    </p>
  );
}

/** Every event of the trace, or those that a filter asks for. */
export function Events() {
  const page = usePage();
  const { explorer, travel } = page;
  const list = listOf(page);
  const shown = useSignal<{ readonly row: number } | undefined>(undefined);
  const chosen = useSignal<number | undefined>(undefined);
  useEffect(() => list.follow(), [list]);
  const count = list.counted.value;
  const look: RowLook = list.attributes.value.length > 0 ? 'noted' : 'plain';
  const toPlayhead = async () => {
    const row = await list.rowAtPlayhead();
    if (row !== undefined && count === list.counted.peek()) {
      shown.value = { row };
    }
  };
  useEffect(() => {
    chosen.value = undefined;
    if (count !== undefined && count.count > 0) {
      void toPlayhead();
    }
  }, [count]);
  const choose = (row: number) => {
    chosen.value = row;
    const event = list.row(row);
    if (event !== undefined) {
      explorer.panels.said.value = `record ${thousands(event.record)}, cycle ${thousands(event.cycle)}`;
      void travel.goToRecord(event.record);
    }
  };
  const inspect = (row: number) => {
    const event = list.row(row);
    if (event !== undefined) {
      explorer.selection.selected.value = { record: event.record };
      explorer.panels.dock.value = 'inspector';
    }
  };
  return (
    <>
      <DockHead open="events" />
      <div
        class={`dock-body events ${list.slow.value ? 'waiting' : ''}`}
        id="dock-body"
        role="tabpanel"
        aria-labelledby="tab-events"
      >
        <FilterBox list={list} />
        <Count list={list} />
        <NoRows list={list} />
        {(count?.count ?? 0) === 0 ? null : (
          <VirtualList
            label="Events"
            rows={count?.count ?? 0}
            rowHeight={ROW}
            chosen={chosen.value}
            shown={shown.value}
            onChoose={choose}
            onRun={inspect}
            onSeen={(first, end) => list.wantRows(first, end)}
            draw={(row) => <Row event={list.row(row)} look={look} />}
            head={<Names look={look} />}
          />
        )}
      </div>
    </>
  );
}
