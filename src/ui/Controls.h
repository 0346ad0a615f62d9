// Controls: models of the controls on a window, one small type for each kind of control.
//
// A control is a member of its window and knows its window, name and type name; Tag holds the number of its text in the
// language files ("" for none). Lengths are twips (1/1440 inch) on segment bars and pixels elsewhere. Colours are
// 0xRRGGBB. The window sets the events once; the user's side (a view or a test) calls the methods under "From the
// view".
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ui/ListRow.h"
#include "ui/Property.h"
#include "ui/RowArrangement.h"
#include "ui/Window.h"

namespace pellora {

using Colour = std::uint32_t;

class Control : public PropertyOwner {
 public:
  Control(Window* window, std::string name, std::string typeName, int number);
  virtual ~Control() = default;
  Control(const Control&) = delete;
  Control& operator=(const Control&) = delete;

  const std::string Name;
  const std::string TypeName;
  Property<std::string> Tag;
  Property<bool> Visible;
  Property<bool> Enabled;
  Property<double> Left, Top, Width, Height;
  Property<std::string> ToolTipText;

  Window& Owner() const { return *window_; }
  void PropertyChanged() override { window_->NoteChange(this); }

  std::function<void()> OnMouseMove;

  // From the view.
  void MouseMoved() { Fire(OnMouseMove); }

 protected:
  // Delivers an event of this control and keeps its window alive meanwhile.
  void Fire(const std::function<void()>& event);

 private:
  Window* window_;
};

// A text number as a Tag: "" for 0.
std::string TagText(int number);

class Label : public Control {
 public:
  Label(Window* window, std::string name, std::string caption = "", int number = 0)
      : Control(window, std::move(name), "Label", number), Caption(this, std::move(caption)) {}
  Property<std::string> Caption;
  std::function<void()> OnDoubleClick;
  void DoubleClick() { Fire(OnDoubleClick); }
};

class CommandButton : public Control {
 public:
  CommandButton(Window* window, std::string name, std::string caption = "", int number = 0)
      : Control(window, std::move(name), "CommandButton", number), Caption(this, std::move(caption)) {}
  Property<std::string> Caption;
  std::function<void()> OnClick;
  // From the view. A disabled button does not click.
  void Click() {
    if (Enabled) Fire(OnClick);
  }
};

class CheckBox : public Control {
 public:
  CheckBox(Window* window, std::string name, std::string caption = "", int number = 0)
      : Control(window, std::move(name), "CheckBox", number), Caption(this, std::move(caption)), Value(this, false) {}
  Property<std::string> Caption;
  Property<bool> Value;
  std::function<void()> OnClick;
  void SetByUser(bool value) {
    Value = value;
    Fire(OnClick);
  }
};

class OptionButton : public Control {
 public:
  OptionButton(Window* window, std::string name, std::string caption = "", int number = 0)
      : Control(window, std::move(name), "OptionButton", number),
        Caption(this, std::move(caption)),
        Value(this, false) {}
  Property<std::string> Caption;
  Property<bool> Value;
  std::function<void()> OnClick;
  void SetByUser(bool value) {
    Value = value;
    Fire(OnClick);
  }
};

class TextBox : public Control {
 public:
  TextBox(Window* window, std::string name, std::string text = "")
      : Control(window, std::move(name), "TextBox", 0), Text(this, std::move(text)), SelectAll(this, 0) {}
  Property<std::string> Text;
  Property<int> SelectAll;         // each new value asks the view to select the whole text
  std::function<void()> OnChange;  // the user has changed the text
  // From the view.
  void SetByUser(std::string text) {
    Text = std::move(text);
    Fire(OnChange);
  }
};

class ComboBox : public Control {
 public:
  ComboBox(Window* window, std::string name)
      : Control(window, std::move(name), "ComboBox", 0), Text(this, ""), Items(this, {}), Index(this, -1) {}
  Property<std::string> Text;
  Property<std::vector<std::string>> Items;
  Property<int> Index;
  std::function<void()> OnChange;  // another item was chosen
  void ChooseByUser(int index);
};

class Frame : public Control {
 public:
  Frame(Window* window, std::string name, std::string caption = "", int number = 0)
      : Control(window, std::move(name), "Frame", number), Caption(this, std::move(caption)) {}
  Property<std::string> Caption;
};

class ListBox : public Control {
 public:
  ListBox(Window* window, std::string name) : Control(window, std::move(name), "ListBox", 0), Items(this, {}) {}
  Property<std::vector<std::string>> Items;
};

class Shape : public Control {
 public:
  Shape(Window* window, std::string name) : Control(window, std::move(name), "Shape", 0), FillColor(this, 0x808080) {}
  Property<Colour> FillColor;
};

class Line : public Control {
 public:
  Line(Window* window, std::string name) : Control(window, std::move(name), "Line", 0) {}
};

class Picture : public Control {
 public:
  Picture(Window* window, std::string name) : Control(window, std::move(name), "PictureBox", 0), Image(this, "") {}
  Property<std::string> Image;  // name of one of the program's drawings, "" for none
};

class ProgressBar : public Control {
 public:
  ProgressBar(Window* window, std::string name)
      : Control(window, std::move(name), "ProgressBar", 0), Value(this, 0.0), Busy(this, false) {}
  Property<double> Value;  // 0 to 100; below 0: empty, without a figure
  Property<bool> Busy;     // moves all the time instead
};

class Slider : public Control {
 public:
  Slider(Window* window, std::string name) : Control(window, std::move(name), "Slider", 0), Value(this, 0) {}
  Property<int> Value;
  std::function<void()> OnChange;
  void SetByUser(int value) {
    Value = value;
    Fire(OnChange);
  }
};

class Menu : public Control {
 public:
  Menu(Window* window, std::string name, std::string caption, int number = 0)
      : Control(window, std::move(name), "Menu", number), Caption(this, std::move(caption)), Checked(this, false) {}
  Property<std::string> Caption;
  Property<bool> Checked;
  std::function<void()> OnClick;
  void Click() {
    if (Enabled) Fire(OnClick);
  }
};

// A part of a control with its own text number: a toolbar button, a tab, a column.
struct ControlPart {
  std::string key;
  std::string caption;
  int number = 0;  // 0: keeps its caption
  std::string toolTip{};
  double width = 0;  // columns only
  bool enabled = true;
  bool operator==(const ControlPart&) const = default;
};

class Toolbar : public Control {
 public:
  Toolbar(Window* window, std::string name, std::vector<ControlPart> buttons)
      : Control(window, std::move(name), "Toolbar", 0), Buttons(this, std::move(buttons)) {}
  Property<std::vector<ControlPart>> Buttons;
  std::function<void(const std::string& key)> OnButtonClick;
  void ClickButton(const std::string& key);
};

class TabStrip : public Control {
 public:
  TabStrip(Window* window, std::string name, std::vector<ControlPart> tabs)
      : Control(window, std::move(name), "TabStrip", 0), Tabs(this, std::move(tabs)), Selected(this, 0) {}
  Property<std::vector<ControlPart>> Tabs;
  Property<int> Selected;  // index from 0
  std::function<void()> OnClick;
  void SelectByUser(int index) {
    Selected = index;
    Fire(OnClick);
  }
};

class StatusBar : public Control {
 public:
  StatusBar(Window* window, std::string name, std::vector<std::string> panels)
      : Control(window, std::move(name), "StatusBar", 0), Panels(this, std::move(panels)) {}
  Property<std::vector<std::string>> Panels;                  // panel 1 is Panels[0]
  void SetPanel(std::size_t panel, const std::string& text);  // panel counts from 1
};

// Where a key moves the selected row.
enum class RowMove : std::uint8_t { First, Up, Down, Last };

enum ListDisplay : int { kIconDisplay = 0, kSmallIconDisplay = 1, kListDisplay = 2, kReportDisplay = 3 };

// The rows of a long list, which are made one by one when they are drawn. Its rows have numbers from 0, in no order.
class RowSource {
 public:
  virtual ~RowSource() = default;
  virtual std::size_t Count() const = 0;
  virtual ListRow Row(std::size_t number) const = 0;
  // What the row shows in a column, from 0.
  virtual std::string Text(std::size_t number, int column) const = 0;
};

// Rows are kept by value; a view reads them by number, so that many rows cost it nothing. Replacing the rows keeps the
// selection.
//
// The user may arrange the rows by a column, and the window may show some of them alone: that changes what is shown,
// and neither the rows nor their numbers. A row that is not shown is not selected.
//
// While sorted, rows are in the order of one column's texts: by bytes, ignoring ASCII case unless they differ in
// nothing else. Rows of equal text keep their order. Columns of FigureColumns are in the order of the whole numbers
// that their texts begin with; texts without one come first.
class ListView : public Control {
 public:
  ListView(Window* window, std::string name, std::vector<ControlPart> columns)
      : Control(window, std::move(name), "ListView", 0),
        Columns(this, std::move(columns)),
        View(this, kReportDisplay) {}
  Property<std::vector<ControlPart>> Columns;
  Property<int> View;  // a ListDisplay

  const std::vector<ListRow>& Rows() const { return rows_; }  // none with a source
  // Returns the old rows: building the next ones in them saves allocations.
  std::vector<ListRow> SetRows(std::vector<ListRow> rows);
  void SetRow(std::size_t at, ListRow row);
  // In place of the list's rows: then Rows is empty. No row is selected. Null: none.
  void SetSource(std::shared_ptr<const RowSource> source);
  std::size_t RowCount() const { return source_ ? order_.size() : rows_.size(); }
  // As it is shown, from wherever it comes; valid until the next call.
  const ListRow& RowAt(std::size_t at) const;
  // The numbers that the selected rows have in the source.
  std::vector<std::size_t> SelectedNumbers() const;
  // Numbers of the selected rows, ascending.
  const std::vector<std::size_t>& Selection() const { return selection_; }
  void Select(std::vector<std::size_t> rows);
  // RowsVersion rises when the rows are replaced by others, sorted or shown otherwise; ChangedRows has the numbers of
  // single changed rows, also of those that SetRows has found to differ.
  std::uint64_t RowsVersion() const { return rowsVersion_; }
  const std::vector<std::size_t>& ChangedRows() const { return changedRows_; }
  void ChangesSeen() { changedRows_.clear(); }

  // What is shown: places count from 0. The rows of a source are not arranged.
  std::size_t ShownCount() const { return source_ ? order_.size() : arrangement_.Count(); }
  std::size_t NumberAt(std::size_t place) const { return source_ ? place : arrangement_.RowAt(place); }
  std::optional<std::size_t> PlaceOf(std::size_t row) const;  // none: it is not shown
  const RowArrangement& Arrangement() const { return arrangement_; }
  void ArrangeBy(std::optional<ColumnOrder> order);  // none: as they are
  // By a column that they are not arranged by: ascending; then descending, then as they are.
  void ArrangeByNext(int column);
  void ShowOnly(RowArrangement::Matches matches);  // empty: all rows
  void SetFigures(RowArrangement::FigureOf figureOf) { arrangement_.figureOf = std::move(figureOf); }

  bool Sorted() const { return sorted_; }
  int SortKey() const { return sortKey_; }  // column, from 0
  bool SortsDescending() const { return descending_; }
  void SetSorted(bool sorted);
  void SortBy(int column, bool descending);  // takes effect while Sorted

  std::vector<int> FigureColumns;  // from 0; set once
  // The path of a file that can be dragged from the row into another program, or "". Set once; empty: none can.
  std::function<std::string(const ListRow& row)> FileOf;

  std::function<void()> OnSelect;       // the user has selected other rows
  std::function<void()> OnClick;        // left button released on a row; it is selected
  std::function<void()> OnDoubleClick;  // on the selected row
  std::function<void()> OnRightClick;   // before a menu opens; the row under the pointer, or none, is selected
  std::function<void()> OnDeleteKey;
  std::function<void()> OnSpaceKey;
  std::function<void()> OnDetailsKey;           // Alt+Return
  std::function<void(RowMove move)> OnMoveKey;  // Alt with Home, Up, Down or End
  std::function<void(int column)> OnColumnClick;
  std::function<void(std::size_t row)> OnCheck;  // the user has set or cleared its check mark

  // From the view.
  void SelectByUser(std::vector<std::size_t> rows);
  void Click() { Fire(OnClick); }
  void DoubleClick() { Fire(OnDoubleClick); }
  void RightClick() { Fire(OnRightClick); }
  void PressDelete() { Fire(OnDeleteKey); }
  void PressSpace() { Fire(OnSpaceKey); }
  void PressDetails() { Fire(OnDetailsKey); }
  void PressMove(RowMove move);
  void ClickColumn(int column);
  void CheckByUser(std::size_t row, bool checked);  // ignored for a row without a box

 private:
  void SortRows();
  void SortByFigures(std::vector<std::uint32_t>& order) const;
  void SortByTexts(std::vector<std::uint32_t>& order) const;
  void PutInOrder(const std::vector<std::uint32_t>& order);
  bool SetDifferent(std::vector<ListRow>& rows);
  void NoteChanged(std::size_t at);
  void Rearranged();

  struct MadeRow {
    std::size_t at = 0;
    ListRow row;
  };

  std::vector<ListRow> rows_;
  RowArrangement arrangement_{rows_};
  std::shared_ptr<const RowSource> source_;
  std::vector<std::uint32_t> order_;     // of the source's rows
  mutable std::optional<MadeRow> made_;  // the last one: a view asks for its columns in a row
  std::vector<std::size_t> selection_;
  std::vector<std::size_t> changedRows_;
  std::uint64_t rowsVersion_ = 0;
  bool sorted_ = false;
  int sortKey_ = 0;
  bool descending_ = false;
};

// A control array: elements "Name(0)" to "Name(n-1)".
template <class ControlType>
class ControlArray {
 public:
  template <class... Arguments>
  ControlArray(Window* window, const std::string& name, int count, const Arguments&... arguments) {
    for (int i = 0; i < count; ++i) Add(window, name, arguments...);
  }
  // With a caption and text number for each element.
  ControlArray(Window* window, const std::string& name, const std::vector<std::pair<std::string, int>>& captions) {
    for (const auto& [caption, number] : captions) Add(window, name, caption, number);
  }

  ControlType& operator()(int index) { return *elements_.at(static_cast<std::size_t>(index)); }
  const ControlType& operator()(int index) const { return *elements_.at(static_cast<std::size_t>(index)); }
  int Count() const { return static_cast<int>(elements_.size()); }

 private:
  template <class... Arguments>
  void Add(Window* window, const std::string& name, const Arguments&... arguments) {
    elements_.push_back(
        std::make_unique<ControlType>(window, name + "(" + std::to_string(elements_.size()) + ")", arguments...));
  }

  std::vector<std::unique_ptr<ControlType>> elements_;
};

}  // namespace pellora
