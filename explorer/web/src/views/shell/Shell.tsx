import type { ComponentType } from 'preact';

import { usePage } from '../context';
import './shell.css';

/** The panels of the page by where they stand. What is not there takes no room. */
export interface Panels {
  readonly TopBar?: ComponentType;
  readonly Alert?: ComponentType;
  readonly Rail?: ComponentType;
  readonly Floorplan?: ComponentType;
  readonly Inspector?: ComponentType;
  readonly Events?: ComponentType;
  readonly Transport?: ComponentType;
  readonly Timeline?: ComponentType;
  readonly StatusBar?: ComponentType;
  readonly Dialogs?: ComponentType;
}

/** Of the dock, where the style sheet does not tell it: a list of events needs room for its columns. */
const WIDTHS = { inspector: { wide: '', middle: '', narrow: '' }, events: { wide: '33rem', middle: '33rem', narrow: '24.5rem' } } as const;

/** Inspector or events, at the right. Each brings its own head; what is closed has no elements. */
function Dock({ panels }: { readonly panels: Panels }) {
  const { panels: store } = usePage().explorer;
  const open = store.dock.value;
  const Panel = open === 'inspector' ? panels.Inspector : open === 'events' ? panels.Events : undefined;
  return Panel === undefined ? null : (
    <aside class="shell-dock" aria-label={open === 'inspector' ? 'Inspector' : 'Events'}>
      <Panel />
    </aside>
  );
}

/** Where everything of the page stands. */
export function Shell({ panels }: { readonly panels: Panels }) {
  const { panels: store } = usePage().explorer;
  const { TopBar, Alert, Rail, Floorplan, Transport, Timeline, StatusBar, Dialogs } = panels;
  const open = store.dock.value;
  const width = store.dockWidth.value;
  const dock = width !== undefined ? `${width}rem` : open === undefined ? '' : WIDTHS[open][store.width.value];
  const height = store.timelineHeight.value;
  const sizes = {
    ...(dock === '' ? {} : { '--dock': dock }),
    ...(height === undefined ? {} : { '--timeline': `${height}rem` }),
  };
  return (
    <div class={`shell ${open === undefined ? 'without-dock' : ''}`} style={sizes}>
      {TopBar && <TopBar />}
      <div class="shell-alert">{Alert && <Alert />}</div>
      {Rail && <Rail />}
      <main class="shell-plan">{Floorplan && <Floorplan />}</main>
      <Dock panels={panels} />
      <section class="shell-time" aria-label="Time">
        {Transport && <Transport />}
        {Timeline && <Timeline />}
      </section>
      {StatusBar && <StatusBar />}
      {Dialogs && <Dialogs />}
      <div class="unseen" role="status" aria-live="polite">
        {store.said.value}
      </div>
    </div>
  );
}
