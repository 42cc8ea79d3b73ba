import type { Alert, AlertPart, Gravity } from '../../model/alerts';
import { Button } from '../../widgets/Button';
import { Icon } from '../../widgets/Icon';
import type { IconName } from '../../widgets/icons';
import { usePage } from '../context';
import './alert.css';

const ICONS: Readonly<Record<Gravity, IconName>> = { danger: 'warn', warn: 'plug', info: 'index' };

function Part({ part }: { readonly part: AlertPart }) {
  if (typeof part === 'string') {
    return <>{part}</>;
  }
  return 'strong' in part ? <strong>{part.strong}</strong> : <code>{part.code}</code>;
}

function Bar({ share }: { readonly share: number }) {
  return (
    <div class="alert-bar" role="progressbar" aria-label="Read so far" aria-valuenow={Math.floor(100 * share)} aria-valuemin={0} aria-valuemax={100}>
      <div style={{ width: `${100 * share}%` }} />
    </div>
  );
}

/** What the user must know, one at a time. */
export function AlertBar() {
  const { explorer } = usePage();
  const alert: Alert | undefined = explorer.alerts.shown.value;
  if (alert === undefined) {
    return null;
  }
  const { action, copy, progress } = alert;
  return (
    <div class={`alert ${alert.gravity}`} role={alert.progress === undefined ? 'alert' : 'status'} aria-live={alert.progress === undefined ? 'assertive' : 'off'}>
      <Icon name={ICONS[alert.gravity]} />
      <p>
        {alert.parts.map((part, i) => (
          <Part key={i} part={part} />
        ))}
      </p>
      {progress !== undefined && <Bar share={progress} />}
      {action && (
        <Button label={action.label} look="outlined" onPress={action.run}>
          {action.label}
        </Button>
      )}
      {copy !== undefined && (
        <Button icon="copy" label="Copy the command" onPress={() => void navigator.clipboard.writeText(copy)} />
      )}
      {alert.closable === true && (
        <Button icon="close" label="Close" onPress={() => explorer.alerts.settle(alert.id)} />
      )}
    </div>
  );
}
