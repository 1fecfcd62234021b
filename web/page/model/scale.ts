/** dBFS. Lower levels are shown as silence. */
export const floorDb = -120;
export const warmDb = -12;
export const hotDb = -3;
/** From here on a held level counts as clipped. */
export const overDb = -0.05;

/** The levels that are written beside a meter. */
export const ticks: readonly number[] = [-60, -50, -40, -30, -20, -12, -6, -3, 0];

/**
 * From a level on, percent of the meter and percent a dB (IEC 60268-18). No arrays: to take them apart for each bar of
 * each picture was nearly all garbage there was.
 */
const segments = [
  { from: -20, percent: 50, slope: 2.5 },
  { from: -30, percent: 30, slope: 2 },
  { from: -40, percent: 15, slope: 1.5 },
  { from: -50, percent: 7.5, slope: 0.75 },
  { from: -60, percent: 2.5, slope: 0.5 },
  { from: -70, percent: 0, slope: 0.25 },
] as const;

/**
 * A level's position on a meter, 0 to 1: the scale of a peak programme meter, half of which is the top 20 dB. Full from
 * 0 dB on, empty below -70 dB and for NaN.
 */
export function deflection(db: number): number {
  if (db >= 0) return 1;
  for (const { from, percent, slope } of segments) {
    if (db >= from) return (percent + (db - from) * slope) / 100;
  }
  return 0;
}

const lowestBandDb = -80;

/** A band level's position, 0 to 1: linear in dB, because bands are far lower than the whole. Empty from -80 dB down. */
export function bandDeflection(db: number): number {
  return Number.isNaN(db) ? 0 : Math.min(1, Math.max(0, (db - lowestBandDb) / -lowestBandDb));
}

export type Zone = 0 | 1 | 2;

/** Which colour a level has: 0 good, 1 warm, 2 hot. */
export function zoneOf(db: number): Zone {
  return db >= hotDb ? 2 : db >= warmDb ? 1 : 0;
}

/** Whether the numbers look like levels of bands: none above 6 dB, one below -10 dB. */
export function areLevels(numbers: Iterable<number>): boolean {
  let below = false;
  for (const number of numbers) {
    if (number > 6) return false;
    below ||= number < -10;
  }
  return below;
}
