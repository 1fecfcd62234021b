import { columnsOf } from '../../page/draw/flow.js';
import { columnAt, layoutOf, partsOf } from '../../page/draw/layout.js';
import type { Row } from '../../page/model/rows.js';
import { deflection } from '../../page/model/scale.js';
import type { Page } from './page.js';

/** Where a bar's colours change, in pixels from its left: solid until, lighter until. */
interface Bar {
  key: string;
  expected: [number, number];
  found: [number, number];
}

/** The strips of the values, under the heads of their groups. */
function rowsOf(prefixes: readonly string[]): Row[] {
  let last = '';
  return prefixes.flatMap((prefix, index): Row[] => {
    const [head] = prefix.split('/');
    const strip: Row = { kind: 'strip', source: undefined as never, set: 0, index, head };
    const rows: Row[] = head === last ? [strip] : [{ kind: 'head', text: head }, strip];
    last = head;
    return rows;
  });
}

/** Reads the bars back from the canvas of a grey picture, in the middle of their rows. */
export async function barsOf(page: Page, values: ReadonlyMap<string, unknown>): Promise<Bar[]> {
  const prefixes = [...values.keys()].filter((key) => key.endsWith('/peak')).map((key) => key.slice(0, -5));
  const rows = rowsOf(prefixes);
  const { width, height } = await page.size('.bridge');
  const layout = layoutOf(rows.length, width, height);
  const { bar } = partsOf(layout, 1, true);
  const length = Math.round(bar.width);
  const wanted = columnsOf(rows, layout).flatMap((column, x) =>
    column.flatMap((row, y) => (row.kind === 'strip' ? [{ index: row.index, x, y }] : [])),
  );
  const places = wanted.map(({ x, y }) => ({
    x: Math.round(columnAt(layout, x)) + Math.round(bar.x),
    y: Math.round((y + 0.5) * layout.rowHeight),
  }));
  const edges = await page.edges(places, length);
  return wanted.map(({ index }, i) => {
    const place = (name: string) => Math.round(deflection(Number(values.get(`${prefixes[index]}/${name}`))) * length);
    return { key: prefixes[index], expected: [place('rms'), place('peak')], found: edges[i] };
  });
}
