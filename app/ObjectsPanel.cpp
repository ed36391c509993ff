#include "ObjectsPanel.h"

#include <algorithm>
#include <exception>
#include <new>
#include <string>
#include <utility>

#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/choice.h>
#include <wx/listctrl.h>
#include <wx/sizer.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>

#include "Accessibility.h"
#include "ObjectSelection.h"
#include "SizeHistogram.h"

namespace Korvane {

namespace {

constexpr int kWidth = 400;
constexpr int kHeight = 560;
/// On a screen that has no more, the table still shows some rows, and the buttons below it.
constexpr int kLeastHeight = 450;
constexpr int kBorder = 4;
constexpr int kTickMs = 30;
constexpr int kFieldWidth = 60;
/// Some milliseconds of copying.
constexpr std::uint64_t kVoxelsPerTick = std::uint64_t{1} << 21;
/// Nothing is copied while a person goes on drawing.
constexpr std::chrono::milliseconds kQuiet{150};

}  // namespace

/// Asks the list for what is to be seen of it.
class ObjectsPanel::TableView final : public wxListView {
public:
    TableView(wxWindow* parent, const ObjectList& list)
        : wxListView(parent, wxID_ANY, wxDefaultPosition, wxDefaultSize, wxLC_REPORT | wxLC_VIRTUAL), list_(list) {
        for (const std::string& name : ObjectList::ColumnNames()) {
            const bool isText = name == ObjectList::ColumnNames().back();
            AppendColumn(name, isText ? wxLIST_FORMAT_LEFT : wxLIST_FORMAT_RIGHT,
                         GetTextExtent(name).x + FromDIP(isText ? 120 : 28));
        }
        SetAccessibleName(*this, "Objects");
    }

protected:
    wxString OnGetItemText(long row, long column) const override {
        if (row < 0 || static_cast<std::size_t>(row) >= list_.RowCount()) return {};
        return wxString::FromUTF8(list_.Text(static_cast<std::size_t>(row), static_cast<std::size_t>(column)));
    }

private:
    const ObjectList& list_;
};

ObjectsPanel::ObjectsPanel(wxWindow* parent, ObjectsPanelLinks links)
    : wxPanel(parent, wxID_ANY, wxDefaultPosition, parent->FromDIP(wxSize(kWidth, -1))),
      links_(std::move(links)),
      timer_(this) {
    measuring_.MeasureBy(links_.measure);
    SetMinSize(FromDIP(wxSize(kWidth, kHeight)));
    auto* all = new wxBoxSizer(wxVERTICAL);
    all->Add(MakeFilters(), 0, wxEXPAND | wxALL, kBorder);
    histogram_ = new SizeHistogram(this);
    all->Add(histogram_, 0, wxEXPAND | wxLEFT | wxRIGHT, kBorder);
    statistics_ = new wxStaticText(this, wxID_ANY, wxEmptyString, wxDefaultPosition, wxDefaultSize,
                                   wxST_NO_AUTORESIZE | wxST_ELLIPSIZE_END);
    constexpr int kLines = 6;
    statistics_->SetMinSize(wxSize(-1, kLines * statistics_->GetCharHeight() + kBorder));
    all->Add(statistics_, 0, wxEXPAND | wxALL, kBorder);
    table_ = new TableView(this, list_);
    all->Add(table_, 1, wxEXPAND | wxLEFT | wxRIGHT, kBorder);
    all->Add(MakeButtons(), 0, wxALL, kBorder);
    SetSizer(all);
    table_->ShowSortIndicator(static_cast<int>(sortColumn_), true);
    table_->Bind(wxEVT_LIST_COL_CLICK, [this](wxListEvent& event) {
        if (event.GetColumn() >= 0) SortBy(static_cast<std::size_t>(event.GetColumn()));
    });
    table_->Bind(wxEVT_LIST_ITEM_SELECTED, &ObjectsPanel::OnRowChosen, this);
    table_->Bind(wxEVT_LIST_ITEM_DESELECTED, [this](wxListEvent&) { remove_->Enable(!Chosen().empty()); });
    // The wheel over the panel is not the image's.
    Bind(wxEVT_MOUSEWHEEL, [](wxMouseEvent&) {});
    Bind(wxEVT_TIMER, [this](wxTimerEvent&) { OnTick(); });
    Bind(wxEVT_SHOW, [this](wxShowEvent& event) {
        if (event.IsShown()) {
            timer_.Start(kTickMs);
        } else {
            timer_.Stop();
        }
        event.Skip();
    });
}

bool ObjectsPanel::Layout() {
    if (GetSizer() == nullptr) return false;
    wxSize size = GetClientSize();
    size.IncTo(wxSize(GetMinSize().x, FromDIP(kLeastHeight)));
    GetSizer()->SetDimension(wxPoint(), size);
    return true;
}

wxSizer* ObjectsPanel::MakeFilters() {
    auto* rows = new wxBoxSizer(wxVERTICAL);
    auto* first = new wxBoxSizer(wxHORIZONTAL);
    wxArrayString positions;
    positions.Add("This position");
    positions.Add("All positions");
    which_ = new wxChoice(this, wxID_ANY, wxDefaultPosition, wxDefaultSize, positions);
    which_->SetSelection(0);
    SetAccessibleName(*which_, "Positions");
    first->Add(which_, 0, wxRIGHT, kBorder);
    wxArrayString diameters;
    for (const std::string& name : SelectableDiameters()) diameters.Add(name);
    diameter_ = new wxChoice(this, wxID_ANY, wxDefaultPosition, wxDefaultSize, diameters);
    diameter_->SetSelection(0);
    diameter_->SetToolTip("The diameter of the histogram and of the limits");
    SetAccessibleName(*diameter_, "Diameter");
    first->Add(diameter_, 1);
    rows->Add(first, 0, wxEXPAND | wxBOTTOM, kBorder);
    auto* second = new wxBoxSizer(wxHORIZONTAL);
    const auto add = [&](const char* label, const char* name) {
        second->Add(new wxStaticText(this, wxID_ANY, label), 0, wxALIGN_CENTER_VERTICAL | wxRIGHT, kBorder);
        auto* field =
            new wxTextCtrl(this, wxID_ANY, wxEmptyString, wxDefaultPosition, FromDIP(wxSize(kFieldWidth, -1)));
        field->SetToolTip(name);
        SetAccessibleName(*field, name);
        field->Bind(wxEVT_TEXT, [this](wxCommandEvent&) { FiltersChanged(); });
        second->Add(field, 0, wxRIGHT, kBorder);
        return field;
    };
    smallest_ = add("From", "Smallest diameter in nm that counts");
    largest_ = add("to", "Largest diameter in nm that counts");
    roundness_ = add("nm, roundness", "Least roundness that counts, 0 to 1");
    rows->Add(second, 0, wxEXPAND | wxBOTTOM, kBorder);
    withoutEdge_ = new wxCheckBox(this, wxID_ANY, "Without objects at the edge of the image");
    rows->Add(withoutEdge_);
    which_->Bind(wxEVT_CHOICE, [this](wxCommandEvent&) { CurrentChanged(); });
    diameter_->Bind(wxEVT_CHOICE, [this](wxCommandEvent&) { FiltersChanged(); });
    withoutEdge_->Bind(wxEVT_CHECKBOX, [this](wxCommandEvent&) { FiltersChanged(); });
    return rows;
}

wxSizer* ObjectsPanel::MakeButtons() {
    auto* row = new wxBoxSizer(wxHORIZONTAL);
    remove_ = new wxButton(this, wxID_DELETE, "Delete selected");
    remove_->SetToolTip("Removes the labels of the selected objects (Del); Ctrl+Z brings them back");
    remove_->Disable();
    row->Add(remove_, 0, wxRIGHT, kBorder);
    export_ = new wxButton(this, wxID_SAVEAS, "Export table...");
    export_->SetToolTip("Writes all columns of these objects as comma-separated values");
    row->Add(export_);
    remove_->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { RemoveChosen(); });
    export_->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { links_.exportTable(); });
    return row;
}

wxListView& ObjectsPanel::Table() { return *table_; }

wxString ObjectsPanel::Statistics() const { return statistics_->GetLabel(); }

void ObjectsPanel::Reset(std::size_t positions) {
    held_.reset();
    if (reading_) reading_->position.reset();
    measuring_.Reset(positions);
    list_.Clear();
    Refill();
}

void ObjectsPanel::Changed(std::size_t position) {
    held_.reset();
    measuring_.Changed(position);
    changedAt_ = std::chrono::steady_clock::now();
}

void ObjectsPanel::ChangedAll() {
    held_.reset();
    measuring_.ChangedAll();
    changedAt_ = std::chrono::steady_clock::now();
}

void ObjectsPanel::CurrentChanged() {
    // What is shown now is another one: its labels are no copy any more.
    held_.reset();
    const ListedPositions which = which_->GetSelection() == 0 ? ListedPositions::kCurrent : ListedPositions::kAll;
    // Among all positions the rows stay the same.
    if (which == ListedPositions::kAll && list_.Which() == which) return;
    list_.List(which, links_.current());
    Refill();
}

bool ObjectsPanel::IsUpToDate() const {
    return measuring_.IsDone(list_.Which(), links_.current()) && !overview_.valid() &&
           wantedOverview_ == Overview::kShown;
}

void ObjectsPanel::OnTick() {
    if (overview_.valid() && overview_.wait_for(std::chrono::seconds(0)) == std::future_status::ready) {
        const SizeOverview overview = overview_.get();
        histogram_->Show(overview.bins);
        const std::string failures = list_.Failures();
        const wxString text =
            wxString::FromUTF8((failures.empty() ? "" : failures + "\n") + OverviewText(overview.summary));
        statistics_->SetLabel(text);
        statistics_->SetToolTip(text);
    }
    if (wantedOverview_ == Overview::kWanted && !overview_.valid()) StartOverview();
    if (links_.isAtWork()) return;
    if (std::optional<ObjectMeasuring::Measured> measured = measuring_.Take()) {
        const std::vector<ObjectKey> chosen = Chosen();
        list_.Set(measured->position, std::move(measured->measures));
        Refill();
        if (chosen.size() == 1) Choose(chosen.front());
    }
    CopyNext();
}

void ObjectsPanel::CopyNext() {
    if (std::chrono::steady_clock::now() - changedAt_ < kQuiet) return;
    const std::optional<std::size_t> next = measuring_.Next(list_.Which(), links_.current());
    if (!next) return held_.reset();
    try {
        if (!held_ || held_->position != *next) {
            ObjectMeasuring::Image image = Image(*next);
            if (image == nullptr) return;
            held_ = Held{*next, std::move(image), links_.labels(*next)};
        }
        measuring_.Copy(*next, held_->image, *held_->labels, kVoxelsPerTick);
    } catch (const std::bad_alloc&) {
        GiveUp(*next, "Not enough memory");
    } catch (const std::exception& error) {
        // Its file is gone, or another one by now.
        GiveUp(*next, error.what());
    }
}

/// Null while it is being read: the window does not wait for it. Throws what reading throws.
ObjectMeasuring::Image ObjectsPanel::Image(std::size_t position) {
    if (reading_) {
        if (reading_->image.wait_for(std::chrono::seconds(0)) != std::future_status::ready) return nullptr;
        Reading read = std::move(*reading_);
        reading_.reset();
        if (read.position == position) {
            ReadImage image = read.image.get();
            if (image.stored != nullptr) links_.take(position, image.stored);
            return image.image;
        }
    }
    std::function<ReadImage()> read = links_.read(position);
    if (!read) return links_.image(position);
    reading_ = Reading{position, std::async(std::launch::async, std::move(read))};
    return nullptr;
}

void ObjectsPanel::GiveUp(std::size_t position, const std::string& cause) {
    held_.reset();
    measuring_.GiveUp(position);
    MeasuredPosition failed;
    failed.failure = cause;
    list_.Set(position, std::move(failed));
    Refill();
}

std::optional<double> ObjectsPanel::NumberIn(wxTextCtrl& field) {
    wxString text = field.GetValue();
    text.Trim(true).Trim(false).Replace(",", ".");
    double number = 0.0;
    const bool isNumber = !text.empty() && text.ToCDouble(&number) && number >= 0.0;
    // A text that is no number limits nothing, and looks so.
    field.SetForegroundColour(isNumber || text.empty() ? wxNullColour : *wxRED);
    field.Refresh();
    return isNumber ? std::optional<double>(number) : std::nullopt;
}

void ObjectsPanel::FiltersChanged() {
    ObjectSelection selection;
    // The first is what a selection goes by unless it names one.
    if (diameter_->GetSelection() > 0) selection.diameter = diameter_->GetStringSelection().utf8_string();
    selection.minDiameterNm = NumberIn(*smallest_);
    selection.maxDiameterNm = NumberIn(*largest_);
    selection.minRoundness = NumberIn(*roundness_);
    selection.atEdge = withoutEdge_->GetValue() ? ObjectsAtEdge::kLeftOut : ObjectsAtEdge::kCounted;
    list_.Select(selection);
    Refill();
}

void ObjectsPanel::SortBy(std::size_t column) {
    const bool again = column == sortColumn_ && order_ == SortOrder::kAscending;
    order_ = again ? SortOrder::kDescending : SortOrder::kAscending;
    sortColumn_ = column;
    const std::vector<ObjectKey> chosen = Chosen();
    list_.Sort(column, order_);
    table_->ShowSortIndicator(static_cast<int>(column), order_ == SortOrder::kAscending);
    Refill();
    if (chosen.size() == 1) Choose(chosen.front());
}

void ObjectsPanel::Refill() {
    filling_ = Filling::kYes;
    for (long row = table_->GetFirstSelected(); row >= 0; row = table_->GetNextSelected(row))
        table_->Select(row, false);
    table_->SetItemCount(static_cast<long>(list_.RowCount()));
    table_->Refresh();
    filling_ = Filling::kNo;
    remove_->Disable();
    wantedOverview_ = Overview::kWanted;
}

void ObjectsPanel::StartOverview() {
    wantedOverview_ = Overview::kShown;
    overview_ = std::async(std::launch::async, [sizes = list_.Sizes()] { return OverviewOf(sizes); });
}

void ObjectsPanel::Choose(const ObjectKey& key) {
    const std::optional<std::size_t> row = list_.RowOf(key);
    filling_ = Filling::kYes;
    for (long chosen = table_->GetFirstSelected(); chosen >= 0; chosen = table_->GetNextSelected(chosen)) {
        table_->Select(chosen, false);
    }
    if (row) {
        table_->Select(static_cast<long>(*row));
        table_->Focus(static_cast<long>(*row));
    }
    filling_ = Filling::kNo;
    remove_->Enable(row.has_value());
}

void ObjectsPanel::OnRowChosen(wxListEvent& event) {
    remove_->Enable();
    const auto row = static_cast<std::size_t>(std::max(0L, event.GetIndex()));
    if (filling_ == Filling::kYes || row >= list_.RowCount() || table_->GetSelectedItemCount() != 1) return;
    links_.show(list_.At(row).position, list_.ExtentAt(row));
}

std::vector<ObjectKey> ObjectsPanel::Chosen() const {
    std::vector<ObjectKey> chosen;
    for (long row = table_->GetFirstSelected(); row >= 0; row = table_->GetNextSelected(row)) {
        if (static_cast<std::size_t>(row) < list_.RowCount()) chosen.push_back(list_.At(static_cast<std::size_t>(row)));
    }
    return chosen;
}

void ObjectsPanel::RemoveChosen() {
    const std::vector<ObjectKey> chosen = Chosen();
    if (!chosen.empty()) links_.remove(chosen);
}

bool ObjectsPanel::TakeKey(int key) {
    if (key != WXK_DELETE && key != WXK_NUMPAD_DELETE) return false;
    const wxWindow* const focus = FindFocus();
    if (focus == smallest_ || focus == largest_ || focus == roundness_) return false;
    // Elsewhere in the panel the key would reach the menu and clear the whole position.
    RemoveChosen();
    return true;
}

}  // namespace Korvane
