import './theme/tokens.css';
import './theme/base.css';

import { render } from 'preact';

import { Registry } from './commands/registry';
import { timelineCommands } from './commands/timelineCommands';
import { SocketEngine } from './engine/socketEngine';
import { Explorer } from './model/explorer';
import { Timeline } from './model/timeline';
import { PageContext, type Travel } from './views/context';
import { Shell } from './views/shell/Shell';
import { Timeline as TimelinePanel } from './views/timeline/Timeline';

const explorer = new Explorer(new SocketEngine(document.baseURI));
const timeline = new Timeline(explorer);
const commands = new Registry();
commands.add(timelineCommands(explorer, timeline));
timeline.follow();

const { playback } = explorer;
const travel: Travel = {
  goToCycle: (cycle) => (playback.wanted.value = { ...playback.wanted.peek(), cycle }),
  goToStep: (step) => (playback.wanted.value = { ...playback.wanted.peek(), step }),
  goToRecord: async (record) => {
    const { head } = await explorer.engine.ask(explorer.trace.fingerprint.peek(), 'when', { record });
    playback.wanted.value = { step: head.naturalStep, cycle: BigInt(head.cycle) };
  },
};

const page = document.getElementById('page');
if (page !== null) {
  render(
    <PageContext.Provider value={{ explorer, commands, timeline, travel }}>
      <Shell panels={{ Timeline: TimelinePanel }} />
    </PageContext.Provider>,
    page,
  );
}
