/** A rectangle in CSS pixels. */
export interface Box {
  x: number;
  y: number;
  width: number;
  height: number;
}

/** How rows are laid out: in columns, read downwards. */
export interface Layout {
  columns: number;
  rowsPerColumn: number;
  rowHeight: number;
  columnWidth: number;
  /** Of everything; more than the room if it has to be scrolled. */
  height: number;
}

const gap = 24;
const least = 22;
const most = 110;
/** A row that is narrower in relation to its height has no room for its bar. */
const widthToHeight = 14;
const leastColumn = 250;

/** Rows as high as the room allows, so that they can be read from far away. */
export function layoutOf(rows: number, width: number, height: number): Layout {
  let best: Layout | undefined;
  const widest = Math.max(1, Math.floor((width + gap) / (leastColumn + gap)));
  for (let columns = 1; columns <= widest; columns++) {
    const columnWidth = (width - (columns - 1) * gap) / columns;
    // Each further column repeats the head of its group.
    const rowsPerColumn = Math.ceil((rows + columns - 1) / columns);
    const rowHeight = Math.floor(Math.min(most, height / rowsPerColumn, columnWidth / widthToHeight));
    if (best && rowHeight <= best.rowHeight) continue;
    best = { columns, rowsPerColumn, rowHeight, columnWidth, height: rowHeight * rowsPerColumn };
  }
  if (best && best.rowHeight >= least) return best;
  return scrolled(rows, width, widest);
}

function scrolled(rows: number, width: number, columns: number): Layout {
  const columnWidth = (width - (columns - 1) * gap) / columns;
  const rowsPerColumn = Math.ceil((rows + columns - 1) / columns);
  const rowHeight = columns === 1 ? least + 8 : least;
  return { columns, rowsPerColumn, rowHeight, columnWidth, height: rowsPerColumn * rowHeight };
}

/** Where a column begins. */
export function columnAt(layout: Layout, column: number): number {
  return column * (layout.columnWidth + gap);
}

/** The parts of a row, from the left, in CSS pixels. A part of no width is not drawn. */
export interface Parts {
  font: number;
  label: Box;
  bar: Box;
  number: Box;
  lamp: Box;
  spark: Box;
  others: Box;
}

/** `bands` of the widest spectrum. */
export function partsOf({ columnWidth, rowHeight }: Layout, bands: number, others: boolean): Parts {
  const font = Math.min(48, Math.round(rowHeight * 0.52));
  const space = Math.round(font * 0.6);
  const wide = columnWidth / font;
  let right = columnWidth;
  const fromRight = (width: number): Box => {
    right -= width;
    const box = { x: right, y: 0, width, height: rowHeight };
    if (width > 0) right -= space;
    return box;
  };
  const othersBox = fromRight(others && wide > 56 ? font * 5 : 0);
  const spark = fromRight(bands > 0 && wide > 40 ? Math.min(font * 7, columnWidth / 6) : 0);
  const lamp = fromRight(Math.round(font * 1.5));
  const number = fromRight(Math.round(font * 2.9));
  const label = { x: 0, y: 0, width: Math.min(Math.max(columnWidth * 0.2, font * 5), font * 11), height: rowHeight };
  const thick = Math.max(8, Math.round(rowHeight * 0.72));
  const bar = { x: label.width + space, y: Math.floor((rowHeight - thick) / 2), width: 0, height: thick };
  bar.width = right - bar.x;
  return { font, label, bar, number, lamp, spark, others: othersBox };
}
