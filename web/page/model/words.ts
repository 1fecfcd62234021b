import type { Connection, DeviceState, DeviceSummary } from '../../client/index.js';
import { durationText } from './text.js';

/** How a picture is: `state` for its colour, `word` for the badge, `sentence` if something is wrong. */
export interface Condition {
  state: DeviceState | 'offline' | 'paused';
  word: string;
  sentence: string;
}

export const words: Record<Condition['state'], string> = {
  live: '● live',
  stale: '◐ stale',
  lost: '○ lost',
  connecting: '◌ connecting',
  offline: '✕ offline',
  paused: '❚❚ paused',
};

/** A sentence for a connection that is not there; empty if it is. */
export function connectionSentence(now: Connection, time: number): string {
  const reason = now.reason ? `: ${now.reason}` : '';
  switch (now.phase) {
    case 'open':
      return '';
    case 'connecting':
      return 'Connecting to the gateway';
    case 'refused':
      return `The gateway refuses this page${reason}. Reload it to try again`;
    case 'waiting': {
      const wait = now.retryAt === undefined ? 0 : Math.max(0, now.retryAt - time);
      return `No connection to the gateway${reason}. Trying again in ${Math.ceil(wait / 1000)} s`;
    }
  }
}

function deviceSentence(device: DeviceSummary): string {
  const reason = device.reason ? `: ${device.reason}` : '';
  switch (device.state) {
    case 'live':
      return '';
    case 'connecting':
      return `${device.name} has sent nothing yet${reason}`;
    case 'stale':
      return `${device.name} is silent${reason}`;
    case 'lost':
      return `${device.name} is not connected to the gateway${reason}`;
  }
}

const condition = (state: Condition['state'], sentence: string): Condition => ({ state, word: words[state], sentence });

/** What is known of a picture. */
export interface Facts {
  connection: Connection;
  name: string;
  device: DeviceSummary | undefined;
  /** Whether the gateway has said which devices there are. */
  devicesKnown: boolean;
  /** Of the newest values, in ms; NaN before the first. */
  age: number;
  /** How long there is usually between updates, in ms. */
  period: number;
  now: number;
}

/** After how long without an update a picture no longer counts as live, in ms. */
export function patience(period: number): number {
  return Math.max(1000, 3 * period);
}

/** What counts is what arrives here: a device may be live, and still nothing may come through. */
export function conditionOf(facts: Facts): Condition {
  const { connection, device, now } = facts;
  if (connection.phase !== 'open') {
    return condition(connection.phase === 'connecting' ? 'connecting' : 'offline', connectionSentence(connection, now));
  }
  if (!device) {
    if (!facts.devicesKnown) return condition('connecting', '');
    return condition('lost', `The gateway does not follow a device “${facts.name}”`);
  }
  if (device.state !== 'live') return condition(device.state, deviceSentence(device));
  if (Number.isNaN(facts.age)) return condition('connecting', '');
  if (facts.age <= patience(facts.period)) return condition('live', '');
  return condition('stale', `Nothing has come from ${device.name} for ${durationText(facts.age)}`);
}

const order: readonly Condition['state'][] = ['live', 'paused', 'stale', 'connecting', 'lost', 'offline'];

/** The one that a person has to know of first; several have all their sentences. */
export function worstOf(conditions: readonly Condition[]): Condition {
  const sorted = [...conditions].sort((left, right) => order.indexOf(right.state) - order.indexOf(left.state));
  const sentences = [...new Set(sorted.map(({ sentence }) => sentence).filter((sentence) => sentence !== ''))];
  return { ...(sorted[0] ?? condition('live', '')), sentence: sentences.join('. ') };
}
