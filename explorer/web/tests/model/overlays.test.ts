import { expect, test } from 'vitest';

import { AskError } from '../../src/protocol/fault';
import { openSmall, settled } from '../fixtures/smallTrace';

test('Heat and link load that could not be had are asked for again when the trace is told of once more', async () => {
  const lost = () => {
    throw new AskError({ code: 'lost', message: 'the server does not answer' });
  };
  const { engine, explorer } = await openSmall({ heat: lost, links: lost });
  explorer.view.colourBy.value = 'heat';
  explorer.view.linkLoad.value = true;
  await settled(explorer);
  engine.asked.length = 0;
  explorer.trace.head.value = { ...explorer.trace.head.value! };
  await settled(explorer);
  expect(engine.asked.map(({ ask }) => ask).sort()).toEqual(['heat', 'links']);
});
