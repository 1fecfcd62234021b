import { groupOf, passes } from './key.js';
import type { Source } from './source.js';

/** A row of the bridge: the head of a group, or a strip. */
export type Row =
  { kind: 'head'; text: string } | { kind: 'strip'; source: Source; set: 0 | 1; index: number; head: string };

/** The strips that pass the filter, under the heads of their groups; with the devices' names if there are several. */
export function rowsOf(sources: readonly Source[], filter: string): Row[] {
  const rows: Row[] = [];
  let last = '';
  for (const source of sources) {
    for (const set of [0, 1] as const) {
      source.sets[set].strips.forEach(({ prefix }, index) => {
        if (!passes(prefix, filter) && !passes(source.labelOf(prefix), filter)) return;
        const group = groupOf(prefix);
        const head = sources.length > 1 ? `${source.device} · ${group}` : group;
        if (head !== last) rows.push({ kind: 'head', text: head });
        last = head;
        rows.push({ kind: 'strip', source, set, index, head });
      });
    }
  }
  return rows;
}

/** Something that says whether rowsOf() would answer otherwise. */
export function versionOf(sources: readonly Source[], filter: string): string {
  return `${filter}|${sources.map(({ sets }) => `${sets[0].version}.${sets[1].version}`).join()}`;
}
