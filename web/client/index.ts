export { LiveClient } from './client.js';
export type {
  Changed,
  Connection,
  DeviceState,
  DeviceSummary,
  EndCode,
  Gateway,
  LiveEvents,
  LiveOptions,
  Meters,
  SocketLike,
  StreamName,
  Subscription,
  SubscriptionEvents,
  Value,
  Wanted,
} from './types.js';
