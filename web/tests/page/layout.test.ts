import assert from 'node:assert/strict';
import { test } from 'node:test';
import { columnsOf, visibleRows } from '../../page/draw/flow.js';
import { layoutOf, partsOf } from '../../page/draw/layout.js';
import type { Row } from '../../page/model/rows.js';

/** A head and so many strips for each group; nothing reads their source. */
function rows(...groups: number[]): Row[] {
  const source = undefined as never;
  return groups.flatMap((count, group): Row[] => {
    const head = `group ${group}`;
    const strips = Array.from({ length: count }, (_, index): Row => ({ kind: 'strip', source, set: 0, index, head }));
    return [{ kind: 'head', text: head }, ...strips];
  });
}

const headText = (row: Row) => (row.kind === 'head' ? row.text : undefined);

test('few strips are high, so that they can be read from far away', () => {
  const layout = layoutOf(14, 1800, 1160);
  assert.equal(layout.columns, 1);
  assert.ok(layout.rowHeight > 75);
  assert.ok(layout.height <= 1160);
});

test('more strips than fit below each other stand in columns', () => {
  const layout = layoutOf(513, 2520, 1320);
  assert.ok(layout.columns > 6);
  assert.ok(layout.height <= 1320);
});

test('what does not fit at all is scrolled', () => {
  const layout = layoutOf(200, 336, 600);
  assert.equal(layout.columns, 1);
  assert.equal(layout.height, 200 * layout.rowHeight);
  assert.ok(layout.rowHeight >= 22);
});

test('a bar has room at every width from 320 px to 4K', () => {
  for (let width = 296; width < 3840; width += 37) {
    for (const count of [1, 12, 60, 512]) {
      const layout = layoutOf(count, width, 700);
      const { bar, label } = partsOf(layout, 10, true);
      assert.ok(bar.width > layout.columnWidth / 4, `${count} strips at ${width} px`);
      assert.ok(label.width > 3 * layout.rowHeight * 0.5, `${count} strips at ${width} px`);
    }
  }
});

test('each column begins with the head of its group, and no head stands alone at its foot', () => {
  const all = rows(5, 9, 4);
  const layout = { ...layoutOf(all.length, 1000, 200), columns: 3, rowsPerColumn: 8 };
  const columns = columnsOf(all, layout);
  assert.ok(columns.every((column) => headText(column[0]) !== undefined));
  assert.ok(columns.every((column) => headText(column[column.length - 1]) === undefined));
  const strips = columns.flat().filter(({ kind }) => kind === 'strip');
  assert.deepEqual(strips, all.filter(({ kind }) => kind === 'strip')); // prettier-ignore
});

test('what is scrolled away is not drawn, and the first line is the head', () => {
  const all = rows(100);
  const layout = layoutOf(all.length, 336, 600);
  const seen = visibleRows(columnsOf(all, layout), layout, { top: 1000, height: 300 });
  assert.ok(seen.length < 15);
  const top = seen.filter(({ row }) => row.kind === 'head');
  assert.deepEqual(top.map(({ y }) => y), [0]); // prettier-ignore
});
