#pragma once

namespace corvalux::monitor {

/// A rectangle of the screen.
struct Area {
  int row = 0;
  int column = 0;
  int rows = 0;
  int columns = 0;

  int EndRow() const { return row + rows; }
  int EndColumn() const { return column + columns; }
  bool Contains(int atRow, int atColumn) const {
    return atRow >= row && atRow < EndRow() && atColumn >= column && atColumn < EndColumn();
  }
};

}  // namespace corvalux::monitor
