// What the page may do: nothing but what came with it, from where it came.

import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';

import { close, file, launch, leave, open as openView, rest, serve, state, tool } from './house.mjs';

const FLAGS = ['-c', '2', '-d', '2', '-p', '4'];
const LONG = { timeout: 120_000 };

let server;

before(async () => {
  await launch();
  tool('synth', '-o', 'run.trace', '--records', '20000', ...FLAGS);
  server = await serve(file('run.trace'), ...FLAGS);
});

after(() => leave());

const open = () => openView(server.link, { hash: 'cycle=60', width: 1200, height: 800 });

/** What the page complains of when it does something. */
async function complaintsOf(page, does) {
  await page.evaluate(does);
  await page.waitForTimeout(300);
  return page.complaints.splice(0).filter((text) => text.includes('policy:'));
}

test('What the policy forbids is found out by these tests', LONG, async () => {
  const page = await open();
  const forbidden = {
    'a script in the page': () => {
      const script = document.createElement('script');
      script.textContent = 'window.wasRun = true';
      document.head.append(script);
    },
    'a style in the page': () => {
      const style = document.createElement('style');
      style.textContent = 'body { display: none }';
      document.head.append(style);
    },
    // Not at once: what a debugger runs may do this.
    'text that is run': () =>
      setTimeout(() => {
        try {
          new Function('return 1')();
        } catch {
          // which is what should happen
        }
      }),
    'a picture from elsewhere': () => {
      new Image().src = 'http://127.0.0.1:9/a.png';
    },
    'a question to elsewhere': () => {
      void fetch('http://127.0.0.1:9/').catch(() => undefined);
    },
  };
  for (const [what, does] of Object.entries(forbidden)) {
    assert.notDeepEqual(await complaintsOf(page, does), [], what);
  }
  assert.equal(await page.evaluate(() => window.wasRun), undefined);
  page.complaints = [];
  await page.context().close();
});

test('All panels and dialogs are opened, and nothing that is forbidden is tried', LONG, async () => {
  const page = await open();
  for (const tab of ['Events', 'Inspector']) {
    await page.getByRole('tab', { name: tab }).click();
    await rest(page);
  }
  for (const key of ['?', 'Escape', '/', 'Escape', 'Control+Shift+P', 'Escape', 'v', 'v', '1', '3', 'l', 't', 'c', 'Space', 'Space', 'm']) {
    await page.keyboard.press(key);
    await page.waitForTimeout(100);
  }
  await rest(page);
  assert.ok((await state(page)).records > 0);
  await close(page);
});

test('Everything that the page fetches comes from the server, and nothing is kept elsewhere', LONG, async () => {
  const page = await open();
  const hosts = await page.evaluate(() => [...new Set(performance.getEntriesByType('resource').map(({ name }) => new URL(name).origin))]);
  assert.deepEqual(hosts, [new URL(server.link).origin]);
  assert.equal(await page.evaluate(() => document.cookie), '', 'the token is for no script');
  assert.ok(!(await page.evaluate(() => location.href)).includes('token'));
  await close(page);
});
