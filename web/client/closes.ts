/** Codes that mean: not again by itself. Everything else is a reason to come back. */
const final = new Set([1000, 1002, 1003, 1007, 1008, 1009, 4100, 4101]);

const reasons = new Map([
  [1000, 'the gateway has ended the connection'],
  [1001, 'the gateway stops'],
  [1006, 'the connection was lost'],
  [1009, 'the gateway refused a message that is too long'],
  [1012, 'the gateway restarts'],
  [1013, 'the gateway has too much to do'],
  [4000, 'an answer was overdue'],
  [4100, 'the gateway refused a message'],
  [4101, 'more than the gateway allows'],
]);

export const isFinal = (code: number): boolean => final.has(code);
export const reasonOf = (code: number, text: string): string => text || (reasons.get(code) ?? `closed with ${code}`);

/** How long to wait before the next try, in ms: 0.5 to 1.5 s, doubled at each failure up to 30 s. */
export function retryDelay(failures: number, random = Math.random()): number {
  return Math.min(1000 * 2 ** failures, 20_000) * (0.5 + random);
}
