import type { Dock } from '../../model/panelStore';
import { Button } from '../../widgets/Button';
import { Keys } from '../../widgets/Keys';
import { Splitter } from '../../widgets/Splitter';
import { usePage } from '../context';
import './dock.css';

const TABS: readonly { readonly dock: Dock; readonly name: string }[] = [
  { dock: 'inspector', name: 'Inspector' },
  { dock: 'events', name: 'Events' },
];
const LEAST = 20; // rem
const MOST = 40;
const USUAL: Readonly<Record<Dock, number>> = { inspector: 22.5, events: 33 };

/** The left edge of the dock. */
function Edge({ open }: { readonly open: Dock }) {
  const { dockWidth } = usePage().explorer.panels;
  const rem = parseFloat(getComputedStyle(document.documentElement).fontSize);
  return (
    <Splitter
      label="Width of the panel"
      direction="width"
      size={(dockWidth.value ?? USUAL[open]) * rem}
      least={LEAST * rem}
      most={Math.min(MOST * rem, innerWidth / 2)}
      onSize={(size) => (dockWidth.value = size / rem)}
      onReset={() => (dockWidth.value = undefined)}
    />
  );
}

/** Tabs of the dock, the key that opens it, and what closes it. */
export function DockHead({ open }: { readonly open: Dock }) {
  const { explorer, commands } = usePage();
  const { dock } = explorer.panels;
  return (
    <div class="dock-head">
      <Edge open={open} />
      <div class="dock-tabs" role="tablist" aria-label="Panels">
        {TABS.map((tab) => (
          <button
            key={tab.dock}
            type="button"
            role="tab"
            id={`tab-${tab.dock}`}
            class="dock-tab"
            aria-selected={tab.dock === open}
            aria-controls="dock-body"
            onClick={() => (dock.value = tab.dock)}
          >
            {tab.name}
          </button>
        ))}
      </div>
      <span class="grow" />
      <span class="middle-only">
        <Keys parts={commands.keysOf(open === 'events' ? 'find.events' : 'select.inspector')[0]} />
      </span>
      <Button label="Close panel" icon="close" onPress={() => (dock.value = undefined)} />
    </div>
  );
}
