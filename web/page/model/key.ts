/** The last part of a key: "peak" of "input/1/peak". */
export function lastPart(key: string): string {
  return key.slice(key.lastIndexOf('/') + 1);
}

/** The part before it: "input/1"; empty for a key without parts. */
export function prefixOf(key: string): string {
  return key.slice(0, Math.max(0, key.lastIndexOf('/')));
}

/** What strips are grouped by: "input" of "input/1". */
export function groupOf(prefix: string): string {
  return prefix.split('/', 1)[0] ?? '';
}

/**
 * The patterns of keys that a choice of strips needs: "input/*" means the strips input/1, input/2, with all their keys.
 * A pattern of keys does as well.
 */
export function keysOfStrips(patterns: readonly string[]): string[] {
  return patterns.flatMap((pattern) => (pattern.endsWith('**') ? [pattern] : [pattern, `${pattern}/*`]));
}

/** Whether the text contains the filter, whatever the case. */
export function passes(text: string, filter: string): boolean {
  return text.toLowerCase().includes(filter.toLowerCase());
}
