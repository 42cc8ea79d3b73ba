import { useEffect } from 'preact/hooks';

import { AskError } from '../../protocol/fault';
import { Button } from '../../widgets/Button';
import { Keys } from '../../widgets/Keys';
import { usePage, type Page } from '../context';
import { CausesSection } from './CausesSection';
import { DockHead } from '../dock/DockHead';
import { NothingView, RangeView, RecordView } from './Other';
import { PieceView } from './PieceView';
import { RectView } from './UnitSections';
import './inspector.css';

function Body() {
  const { explorer } = usePage();
  const selected = explorer.selection.selected.value;
  const range = explorer.time.range.value;
  if (selected === undefined) {
    return range === undefined ? <NothingView /> : <RangeView range={range} />;
  }
  if ('piece' in selected) {
    return <PieceView piece={selected.piece} />;
  }
  return 'rect' in selected ? <RectView rect={selected.rect} /> : <RecordView record={selected.record} />;
}

/** What can be done with what is selected. */
function Foot() {
  const { explorer, commands } = usePage();
  const selected = explorer.selection.selected.value;
  if (selected === undefined) {
    return null;
  }
  const causes = 'record' in selected || ('piece' in selected && !('link' in selected.piece)); // others have none
  const key = commands.keysOf('layer.causes')[0];
  return (
    <footer class="inspector-foot">
      {causes && (
        <Button
          label={`Show causes ${key?.join(' ') ?? ''}`}
          icon="cause"
          look="outlined"
          onPress={() => commands.run('layer.causes')}
        >
          Show causes <Keys parts={key} />
        </Button>
      )}
      <Button
        label="Copy as command"
        icon="terminal"
        look="outlined"
        onPress={() => commands.run('share.selectionCommand')}
      >
        <span class="middle-only">Copy as command</span>
      </Button>
    </footer>
  );
}

/** Why nothing is told, where a question was refused. */
function failureOf({ inspection }: Page): string | undefined {
  const feeds = [inspection.piece, inspection.fires, inspection.links, inspection.measures];
  const failures = feeds.map((feed) => feed.failure.value).filter((failure) => failure instanceof AskError);
  return failures.find(({ code }) => code !== 'lost' && code !== 'not-indexed-yet')?.message;
}

/** The selected piece, rectangle or event; the range or the whole run where nothing is selected. */
export function Inspector() {
  const page = usePage();
  const { inspection } = page;
  useEffect(() => inspection.follow(), [inspection]);
  const failure = failureOf(page);
  return (
    <>
      <DockHead open="inspector" />
      <div
        class={`dock-body inspector ${inspection.slow ? 'waiting' : ''}`}
        id="dock-body"
        role="tabpanel"
        aria-labelledby="tab-inspector"
        tabIndex={0}
      >
        <Body />
        <CausesSection />
        {failure === undefined ? null : <p class="inspector-note">{failure}</p>}
      </div>
      <Foot />
    </>
  );
}
