#include <gmock/gmock.h>

#include <clocale>
#include <cmath>
#include <sstream>

#include "monitor/screen/Bar.h"
#include "monitor/screen/Canvas.h"
#include "monitor/screen/Panels.h"
#include "monitor/screen/Spark.h"
#include "monitor/screen/Terminal.h"
#include "monitor/screen/Ui.h"
#include "monitor/screen/View.h"
#include "monitor/text/Columns.h"

namespace corvalux::monitor {

namespace {

using testing::HasSubstr;
using testing::Not;
using Clock = std::chrono::steady_clock;
using Kind = Input::Kind;

const Clock::time_point now = Clock::time_point() + std::chrono::hours(1);

class ScreenTest : public testing::Test {
 protected:
  ScreenTest() { std::setlocale(LC_CTYPE, "C.UTF-8"); }

  void Show(std::vector<client::Entry> fast, std::vector<client::Entry> slow = {},
            std::vector<std::vector<client::Entry>> changes = {}) {
    News news;
    news.state.phase = client::ConnectionState::Phase::connected;
    news.fast = MessageOf(client::Stream::fast, std::move(fast));
    news.slow = MessageOf(client::Stream::slow, std::move(slow));
    for (auto& change : changes) news.changes.push_back(MessageOf(client::Stream::changes, std::move(change)));
    board.Take(std::move(news), now);
  }

  static client::Message MessageOf(client::Stream stream, std::vector<client::Entry> entries) {
    client::Message message;
    message.stream = stream;
    message.arrival = {{}, now};
    message.entries = std::move(entries);
    return message;
  }

  std::string Screen(int rows, int columns) {
    Canvas canvas(rows, columns);
    draw(canvas, board, ui, now);
    std::string text;
    for (int row = 0; row < rows; ++row) text += canvas.Row(row) + "\n";
    return text;
  }

  void Press(const std::u32string& keys) {
    for (const char32_t key : keys) ui.Take({Kind::character, key});
  }

  /// Draws a panel alone, and expects that it leaves all outside of its area as it was.
  template <typename Draw>
  static void ExpectInside(const Area& area, int rows, int columns, const Draw& drawPanel) {
    Canvas canvas(rows, columns);
    drawPanel(canvas);
    for (int row = 0; row < rows; ++row) {
      for (int column = 0; column < columns; ++column) {
        if (area.Contains(row, column)) continue;
        ASSERT_EQ(canvas.At(row, column), Cell()) << row << ", " << column << " of " << rows << ", " << columns;
      }
    }
  }

  /// Inputs with levels, as many as told.
  static std::vector<client::Entry> Inputs(int count) {
    std::vector<client::Entry> entries;
    for (int i = 1; i <= count; ++i) entries.push_back({"input/" + std::to_string(i) + "/peak", -20.0F});
    return entries;
  }

  Board board{"mixer:50005"};
  Ui ui;
};

std::string bar(int width, const BarLevels& levels) {
  Canvas canvas(1, width);
  drawBar(canvas, 0, 0, width, levels);
  return canvas.Row(0);
}

}  // namespace

TEST_F(ScreenTest, TextIsCutByColumnsNotBytes) {
  EXPECT_EQ(widthOf("côté"), 4);
  EXPECT_EQ(widthOf("音"), 2);
  EXPECT_EQ(fitted("côté cour", 5), "côté…");
  EXPECT_EQ(fitted("音音音", 4), "音…");
  EXPECT_EQ(fitted("abc", 3), "abc");
  EXPECT_EQ(fitted("abc", 0), "");
  Canvas canvas(1, 3);
  EXPECT_EQ(canvas.Text(0, 0, "音音", Style::plain), 2);
  EXPECT_EQ(canvas.Row(0), "音");
}

TEST_F(ScreenTest, ControlCharactersDoNotReachTheTerminal) {
  Canvas canvas(1, 20);
  canvas.Text(0, 0, "a\x1B[2Jb\nc\xC2\x9Bz\xFF", Style::plain);
  EXPECT_EQ(canvas.Row(0), "a [2Jb c z\xEF\xBF\xBD");
}

TEST_F(ScreenTest, ABarIsSolidToTheRmsLightToThePeakAndMarkedAtTheHold) {
  EXPECT_EQ(bar(10, {-120, -120, -120}), "··········");
  EXPECT_EQ(bar(10, {0, 0, 0}), "█████████┃");
  EXPECT_EQ(bar(10, {-20, -20, -120}), "█████·····");
  EXPECT_EQ(bar(10, {-20, -40, -8}), "█▒▒▒▒···┃·");
}

TEST_F(ScreenTest, ASparkShowsTheHighestOfNeighbours) {
  Canvas canvas(1, 4);
  EXPECT_EQ(drawSpark(canvas, 0, 0, 4, {-120, 0, -120, -120, NAN, -20, -120, -120}), 4);
  EXPECT_EQ(canvas.Row(0), "█▁▆▁");
  Canvas plain(1, 3);
  drawSpark(plain, 0, 0, 3, {0, 50, 100});
  EXPECT_EQ(plain.Row(0), "▁▅█");
}

TEST_F(ScreenTest, ShowsLevelsByGroupsValuesAndChanges) {
  Show({{"counter", 1U},
        {"input/1/peak", -6.0F},
        {"input/1/rms", -20.0F},
        {"bus/1/peak", -INFINITY},
        {"engine/time", 1.5}},
       {{"input/1/name", std::string("Vox")}, {"mix/loudness", -23.5}},
       {{{"input/1/gain", -3.0F}}, {{"counter", 2U}, {"input/1/gain", -6.0F}}});
  const std::string screen = Screen(24, 80);
  EXPECT_THAT(screen, HasSubstr(" corvalux  mixer:50005"));
  EXPECT_THAT(screen, HasSubstr("● live"));
  EXPECT_THAT(screen, HasSubstr("▸input"));
  EXPECT_THAT(screen, HasSubstr(" Vox           ██████"));
  EXPECT_THAT(screen, HasSubstr("  -6.0"));
  EXPECT_THAT(screen, HasSubstr("\n bus"));
  EXPECT_THAT(screen, HasSubstr("  -inf"));
  EXPECT_THAT(screen, HasSubstr("engine/time  1.5"));
  EXPECT_THAT(screen, HasSubstr("mix/loudness -23.5"));
  EXPECT_THAT(screen, HasSubstr("input/1/gain  -3 → -6"));
}

TEST_F(ScreenTest, SaysWhyThereIsNoConnection) {
  News news;
  news.state = {client::ConnectionState::Phase::waiting, "Connection refused", std::chrono::milliseconds(1500), false,
                false};
  board.Take(std::move(news), now);
  const std::string screen = Screen(24, 80);
  EXPECT_THAT(screen, HasSubstr("○ offline"));
  EXPECT_THAT(screen, HasSubstr("cannot reach mixer:50005: Connection refused; trying again in 1.5 s"));
}

TEST_F(ScreenTest, ALongReasonGoesOnInTheNextRowWithoutBreakingAGlyph) {
  News news;
  std::string reason;
  for (int i = 0; i < 30; ++i) reason += "é音";
  news.state = {client::ConnectionState::Phase::ended, reason, {}, false, false};
  board.Take(std::move(news), now);
  for (int columns = 54; columns < 60; ++columns) {
    std::string text;
    std::istringstream screen(Screen(24, columns));
    for (std::string row; std::getline(screen, row);) text += row.empty() ? "" : row.substr(1);
    EXPECT_THAT(text, HasSubstr("cannot reach mixer:50005: " + reason)) << columns;
  }
}

TEST_F(ScreenTest, EachPanelKeepsToItsAreaInEverySize) {
  auto entries = Inputs(30);
  entries.push_back({"input/1/spectrum", std::vector<float>(31, -30.0F)});
  for (int i = 0; i < 40; ++i) entries.push_back({"engine/" + std::to_string(i), i});
  Show(entries, {{"input/1/name", std::string("音音音音音音音音音音音音")}}, {{{"a/b", std::string(300, 'x')}}});
  for (int rows = 0; rows <= 60; rows += rows < 30 ? 1 : 7) {
    for (int columns = 0; columns <= 220; columns += columns < 50 ? 1 : 17) {
      const Layout layout = layoutOf(rows, columns, board, ui);
      const auto expectInside = [&](const Area& area, const auto& drawPanel) {
        ExpectInside(area, rows, columns, [&](Canvas& canvas) { drawPanel(canvas, area); });
      };
      expectInside(layout.header, [&](auto& canvas, auto& area) { drawHeader(canvas, area, board, ui, now); });
      expectInside(layout.meters, [&](auto& canvas, auto& area) { drawMeters(canvas, area, board, ui); });
      expectInside(layout.spectra, [&](auto& canvas, auto& area) { drawSpectra(canvas, area, board, ui); });
      expectInside(layout.values, [&](auto& canvas, auto& area) { drawValues(canvas, area, board, ui); });
      expectInside(layout.changes, [&](auto& canvas, auto& area) { drawChanges(canvas, area, board, ui); });
      expectInside(layout.footer, [&](auto& canvas, auto& area) { drawFooter(canvas, area, ui); });
      if (HasFatalFailure()) return;
    }
  }
}

TEST_F(ScreenTest, TheHelpIsCutWhereTheScreenEnds) {
  Press(U"?");
  for (int rows = 0; rows <= 40; ++rows) {
    for (int columns = 0; columns <= 100; ++columns) Screen(rows, columns);
  }
  EXPECT_THAT(Screen(40, 100), HasSubstr("forget the held peaks"));
}

TEST_F(ScreenTest, WideScreensHaveTheListsBesideTheMeters) {
  Show(Inputs(3), {{"engine/load", 12.5F}}, {{{"a/b", 1}}});
  const Layout narrow = layoutOf(30, 80, board, ui);
  EXPECT_GE(narrow.changes.row, narrow.meters.EndRow());
  const Layout wide = layoutOf(45, 160, board, ui);
  EXPECT_GE(wide.changes.column, wide.meters.EndColumn());
}

TEST_F(ScreenTest, ScrollsThePanelThatIsChosen) {
  Show(Inputs(40));
  EXPECT_THAT(Screen(24, 80), HasSubstr("input/1 "));
  ui.Take({Kind::pageDown});
  EXPECT_THAT(Screen(24, 80), Not(HasSubstr("input/1 ")));
  ui.Take({Kind::end});
  EXPECT_THAT(Screen(24, 80), HasSubstr("input/40 "));
  ui.Take({Kind::home});
  EXPECT_THAT(Screen(24, 80), HasSubstr("input/1 "));
  ui.Take({Kind::tab});
  EXPECT_NE(ui.Focus(), Panel::meters);
  ui.Take({Kind::down});
  EXPECT_THAT(Screen(24, 80), HasSubstr("input/1 "));
}

TEST_F(ScreenTest, TheWheelScrollsWhatIsUnderIt) {
  Show(Inputs(40));
  Screen(24, 80);
  ui.Take({Kind::wheelDown, 0, 8, 5});
  EXPECT_THAT(Screen(24, 80), Not(HasSubstr("input/1 ")));
  ui.Take({Kind::click, 0, 21, 5});
  EXPECT_EQ(ui.Focus(), Panel::changes);
}

TEST_F(ScreenTest, ShrinkingNeverLeavesAPanelScrolledPastItsEnd) {
  Show(Inputs(40));
  Screen(24, 80);
  ui.Take({Kind::end});
  Screen(24, 80);
  Show(Inputs(3));
  EXPECT_THAT(Screen(24, 80), HasSubstr("input/1 "));
}

TEST_F(ScreenTest, TheFilterShowsOnlyKeysThatContainIt) {
  Show({{"input/1/peak", -6.0F}, {"bus/1/peak", -6.0F}, {"engine/time", 1.0}}, {},
       {{{"bus/1/gain", 1.0F}, {"x/y", 2}}});
  Press(U"/BUs");
  EXPECT_TRUE(ui.Typing());
  std::string screen = Screen(24, 80);
  EXPECT_THAT(screen, HasSubstr("show keys with: BUs"));
  EXPECT_THAT(screen, HasSubstr("bus/1/gain"));
  for (const char* other : {"input/1", "engine/time", "x/y"}) EXPECT_THAT(screen, Not(HasSubstr(other)));
  ui.Take({Kind::enter});
  EXPECT_FALSE(ui.Typing());
  EXPECT_THAT(Screen(24, 80), HasSubstr("only 'BUs'"));
  ui.Take({Kind::escape});
  EXPECT_THAT(Screen(24, 80), HasSubstr("input/1"));
}

TEST_F(ScreenTest, KeysWhileTypingAreNoCommands) {
  Press(U"/q p?é");
  ui.Take({Kind::backspace});
  EXPECT_EQ(ui.Filter(), "q p?");
  EXPECT_FALSE(ui.Quit() || ui.Paused() || ui.Help());
}

TEST_F(ScreenTest, CommandsDoWhatTheHelpSays) {
  Press(U" ");
  EXPECT_TRUE(ui.Paused());
  EXPECT_THAT(Screen(24, 80), HasSubstr("PAUSED"));
  Press(U"pr?");
  EXPECT_FALSE(ui.Paused());
  EXPECT_TRUE(ui.TakeReset());
  EXPECT_FALSE(ui.TakeReset());
  EXPECT_THAT(Screen(24, 80), HasSubstr("forget the held peaks"));
  ui.Take({Kind::escape});
  EXPECT_FALSE(ui.Help());
  Press(U"q");
  EXPECT_TRUE(ui.Quit());
}

}  // namespace corvalux::monitor
