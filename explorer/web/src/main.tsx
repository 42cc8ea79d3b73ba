import './theme/tokens.css';
import './theme/base.css';

import { render } from 'preact';

import { Registry } from './commands/registry';
import { SocketEngine } from './engine/socketEngine';
import { Explorer } from './model/explorer';
import { PageContext } from './views/context';
import { Shell } from './views/shell/Shell';

const explorer = new Explorer(new SocketEngine(document.baseURI));
const commands = new Registry();

const page = document.getElementById('page');
if (page !== null) {
  render(
    <PageContext.Provider value={{ explorer, commands }}>
      <Shell panels={{}} />
    </PageContext.Provider>,
    page,
  );
}
