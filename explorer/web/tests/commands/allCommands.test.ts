import { expect, test } from 'vitest';

import { findCommands } from '../../src/commands/findCommands';
import { floorplanCommands } from '../../src/commands/floorplanCommands';
import { KEYS } from '../../src/commands/keys';
import { markCommands } from '../../src/commands/markCommands';
import { pageCommands } from '../../src/commands/pageCommands';
import { Registry } from '../../src/commands/registry';
import { selectionCommands } from '../../src/commands/selectionCommands';
import { timeCommands } from '../../src/commands/timeCommands';
import { timelineCommands } from '../../src/commands/timelineCommands';
import { EventWalk } from '../../src/model/eventWalk';
import { Inspection } from '../../src/model/inspection';
import { Timeline } from '../../src/model/timeline';
import { openSmall } from '../fixtures/smallTrace';

test('Every key has a command', async () => {
  const { explorer } = await openSmall();
  const nothing = () => undefined;
  const registry = new Registry();
  registry.add(timeCommands(explorer));
  registry.add(timelineCommands(explorer, new Timeline(explorer)));
  registry.add(floorplanCommands(explorer, { zoom: nothing, focus: nothing }));
  registry.add(selectionCommands(explorer, new Inspection(explorer), new EventWalk(explorer)));
  registry.add(markCommands(explorer));
  registry.add(findCommands(explorer));
  registry.add(pageCommands(explorer, { copyLink: nothing, copyCommand: nothing }));
  expect([...new Set(Object.values(KEYS))].filter((id) => registry.find(id) === undefined)).toEqual([]);
});
