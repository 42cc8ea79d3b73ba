import './theme/tokens.css';
import './theme/base.css';

import { render } from 'preact';

import { findCommands } from './commands/findCommands';
import { floorplanCommands } from './commands/floorplanCommands';
import { markCommands } from './commands/markCommands';
import { pageCommands } from './commands/pageCommands';
import { Registry } from './commands/registry';
import { selectionCommands } from './commands/selectionCommands';
import { timeCommands } from './commands/timeCommands';
import { timelineCommands } from './commands/timelineCommands';
import { Site } from './engine/site';
import { SocketEngine } from './engine/socketEngine';
import { EventWalk } from './model/eventWalk';
import { Explorer } from './model/explorer';
import { Inspection } from './model/inspection';
import { KeptMarks } from './model/keptMarks';
import { Timeline } from './model/timeline';
import { copyLink, followAddress } from './views/address';
import { AlertBar } from './views/alert/AlertBar';
import { PageContext, type Page } from './views/context';
import { Floorplan } from './views/floorplan/Floorplan';
import { FloorplanController } from './views/floorplan/controller';
import { followKeys } from './views/keyboard';
import { followPlaying } from './views/playing';
import { SearchBox } from './views/omnibox/SearchBox';
import { Rail } from './views/rail/Rail';
import { Shell, type Panels } from './views/shell/Shell';
import { StatusBar } from './views/status/StatusBar';
import { followSurroundings } from './views/surroundings';
import { observed, type Observed } from './views/testing';
import { TopBar } from './views/topbar/TopBar';
import { Transport } from './views/transport/Transport';
import { later } from './widgets/later';

declare global {
  interface Window {
    explorer: Observed;
  }
}

const explorer = new Explorer(new SocketEngine(document.baseURI));
const timeline = new Timeline(explorer);
const inspection = new Inspection(explorer);
const walk = new EventWalk(explorer);
const floorplan = new FloorplanController(explorer);
const site = new Site(document.baseURI);
const kept = new KeptMarks(explorer, site);

const commands = new Registry();
commands.add(timeCommands(explorer));
commands.add(timelineCommands(explorer, timeline));
commands.add(
  floorplanCommands(explorer, {
    zoom: (factor) => floorplan.hand.zoom(undefined, factor),
    focus: () => floorplan.focus(),
  }),
);
commands.add(selectionCommands(explorer, inspection, walk));
commands.add(markCommands(explorer));
commands.add(findCommands(explorer));
commands.add(
  pageCommands(explorer, {
    copyLink: () => void copyLink(explorer),
    copyCommand: (of) => void import('./views/takeAway/copyCommand').then((part) => part.copyCommand(page, of)),
  }),
);

const page: Page = {
  explorer,
  commands,
  timeline,
  inspection,
  walk,
  travel: explorer.pilot,
  floorplan,
  site,
  kept,
  waits: [() => timeline.busy, () => inspection.busy, () => kept.busy.peek()],
};

const panels: Panels = {
  TopBar: () => <TopBar Search={SearchBox} />,
  Alert: AlertBar,
  Rail: () => <Rail controller={floorplan} />,
  Floorplan: () => <Floorplan controller={floorplan} />,
  Transport,
  Timeline: later(async () => (await import('./views/timeline/Timeline')).Timeline),
  Inspector: later(async () => (await import('./views/inspector/Inspector')).Inspector),
  Events: later(async () => (await import('./views/events/Events')).Events),
  StatusBar,
  Dialogs: later(async () => (await import('./views/dialogs/Dialogs')).Dialogs),
};

explorer.watch.reload = () => location.reload();
followAddress(explorer);
followSurroundings(explorer);
followKeys(commands);
followPlaying(explorer);
explorer.follow();
timeline.follow();
inspection.followSelection();
kept.follow();
window.explorer = observed(explorer, floorplan, () => page.waits.some((waits) => waits()));

const root = document.getElementById('page');
if (root !== null) {
  render(
    <PageContext.Provider value={page}>
      <Shell panels={panels} />
    </PageContext.Provider>,
    root,
  );
}
void explorer.watch.open();
