import type { Row } from '../model/rows.js';
import { columnAt, type Layout } from './layout.js';

/** A row and where it is, in CSS pixels of the visible part. */
export interface Placed {
  row: Row;
  x: number;
  y: number;
}

/** The visible part of everything that could be seen. */
export interface Window {
  top: number;
  height: number;
}

const headOf = (row: Row) => (row.kind === 'head' ? row.text : row.head);

/** Rows by columns; each column begins with a head. */
export function columnsOf(rows: readonly Row[], layout: Layout): Row[][] {
  const columns: Row[][] = [];
  let column: Row[] = [];
  for (const row of rows) {
    if (column.length === layout.rowsPerColumn || columns.length === 0) columns.push((column = []));
    if (column.length === 0 && row.kind === 'strip') column.push({ kind: 'head', text: row.head });
    // A head at the foot of a column would stand alone.
    if (row.kind === 'head' && column.length === layout.rowsPerColumn - 1 && columns.length < layout.columns) {
      columns.push((column = []));
    }
    column.push(row);
  }
  return columns;
}

/** What can be seen; the first line of each column is always the head of its group. */
export function visibleRows(columns: readonly Row[][], layout: Layout, window: Window): Placed[] {
  const { rowHeight } = layout;
  const first = Math.max(0, Math.floor(window.top / rowHeight));
  const end = Math.ceil((window.top + window.height) / rowHeight);
  return columns.flatMap((column, i) => {
    const x = columnAt(layout, i);
    const seen = column.slice(first, end).map((row, line) => ({ row, x, y: (first + line) * rowHeight - window.top }));
    const top = column.slice(first).shift();
    if (!top || (window.top === first * rowHeight && top.kind === 'head')) return seen;
    const head: Placed = { row: { kind: 'head', text: headOf(top) }, x, y: 0 };
    return [...seen, head];
  });
}
