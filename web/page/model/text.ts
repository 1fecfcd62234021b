import type { Value } from '../../client/index.js';
import { floorDb } from './scale.js';

/** "−12.3", or "−∞" for silence. */
export function levelText(db: number): string {
  return db > floorDb ? db.toFixed(1).replace('-', '−') : '−∞';
}

export function durationText(ms: number): string {
  if (ms < 1000) return `${Math.max(0, ms).toFixed(0)} ms`;
  if (ms < 60_000) return `${(ms / 1000).toFixed(1)} s`;
  if (ms < 3_600_000) return `${(ms / 60_000).toFixed(0)} min`;
  return `${(ms / 3_600_000).toFixed(1)} h`;
}

/** "11:53:45", local time. */
export function clockText(ms: number): string {
  const time = new Date(ms);
  return [time.getHours(), time.getMinutes(), time.getSeconds()].map((part) => String(part).padStart(2, '0')).join(':');
}

/** A float has been widened to a double: as few digits as give the same float. Of a double nobody reads more than six. */
function numberText(number: number): string {
  if (Number.isInteger(number)) return String(number);
  if (Math.fround(number) !== number) return String(Math.abs(number) < 1e-3 ? number : Number(number.toFixed(6)));
  for (let digits = 6; digits < 9; digits++) {
    const short = Number(number.toPrecision(digits));
    if (Math.fround(short) === number) return String(short);
  }
  return String(number);
}

export function describe(value: Value | undefined): string {
  if (value === null || value === undefined) return '';
  if (typeof value === 'string') return value;
  if (typeof value === 'number') return numberText(value);
  return `[${Array.from(value, numberText).join(' ')}]`;
}
