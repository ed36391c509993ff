#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <vector>

#include <wx/panel.h>
#include <wx/timer.h>

#include "ObjectList.h"
#include "ObjectMeasuring.h"
#include "StoredImage.h"

class wxButton;
class wxCheckBox;
class wxChoice;
class wxListView;
class wxListEvent;
class wxStaticText;
class wxTextCtrl;

namespace Korvane {

class SizeHistogram;

/// An image that was read or converted on another thread.
struct ReadImage {
    std::shared_ptr<const StoredImage> stored;  ///< null where it was in memory
    ObjectMeasuring::Image image;
};

/// What the panel needs of the window around it.
struct ObjectsPanelLinks {
    std::function<std::size_t()> current;                               ///< the position that is shown
    std::function<bool()> isAtWork;                                     ///< a command runs: labels may be changing
    /// What reads an image on any thread; empty where it is at hand. What it returns is to be handed to `take`.
    std::function<std::function<ReadImage()>(std::size_t position)> read;
    std::function<void(std::size_t position, const std::shared_ptr<const StoredImage>& stored)> take;
    std::function<ObjectMeasuring::Image(std::size_t position)> image;  ///< these, and `take`, may throw
    std::function<std::shared_ptr<const qvox::LabelImage>(std::size_t position)> labels;
    std::function<ObjectMeasuring::Measure(std::size_t position)> measure;
    std::function<void(std::size_t position, const LabelExtent& extent)> show;  ///< a row was chosen
    std::function<void(const std::vector<ObjectKey>& objects)> remove;
    std::function<void()> exportTable;
};

/// The table of objects beside the image, with filters, histogram and statistics above it. Measures in the background
/// while it is shown.
class ObjectsPanel final : public wxPanel {
public:
    ObjectsPanel(wxWindow* parent, ObjectsPanelLinks links);

    /// In a window that is too small the controls keep their sizes and are cut: the toolkit warns of squeezed ones.
    bool Layout() override;

    // Notifications of the window.

    /// Other positions are open.
    void Reset(std::size_t positions);
    void Changed(std::size_t position);
    void ChangedAll();
    /// Another position is shown.
    void CurrentChanged();
    /// Chooses the row of an object, without showing it once more.
    void Choose(const ObjectKey& key);
    /// A key while something of the panel has the focus; true where it was the panel's.
    bool TakeKey(int key);

    /// The sizes of the window before and after the panel was shown.
    struct Room {
        wxSize before;
        wxSize after;
    };
    Room& TakenRoom() { return room_; }

    // Read by the window and by tests.

    const ObjectList& List() const { return list_; }
    /// Whether table and statistics are those of the labels as they are.
    bool IsUpToDate() const;
    wxString Statistics() const;
    wxListView& Table();

private:
    class TableView;

    wxSizer* MakeFilters();
    wxSizer* MakeButtons();
    void OnTick();
    void CopyNext();
    ObjectMeasuring::Image Image(std::size_t position);
    void GiveUp(std::size_t position, const std::string& cause);
    void FiltersChanged();
    void SortBy(std::size_t column);
    void Refill();
    void StartOverview();
    void OnRowChosen(wxListEvent& event);
    void RemoveChosen();
    std::vector<ObjectKey> Chosen() const;
    std::optional<double> NumberIn(wxTextCtrl& field);

    ObjectsPanelLinks links_;
    Room room_;
    ObjectList list_;
    ObjectMeasuring measuring_;
    std::chrono::steady_clock::time_point changedAt_;
    /// What is being copied: of a position that is not shown it is made for this.
    struct Held {
        std::size_t position = 0;
        ObjectMeasuring::Image image;
        std::shared_ptr<const qvox::LabelImage> labels;
    };
    std::optional<Held> held_;
    /// One image at a time.
    struct Reading {
        std::optional<std::size_t> position;  ///< none once others are open
        std::future<ReadImage> image;
    };
    std::optional<Reading> reading_;
    std::future<SizeOverview> overview_;
    enum class Overview { kShown, kWanted } wantedOverview_ = Overview::kShown;
    std::size_t sortColumn_ = 1;
    SortOrder order_ = SortOrder::kAscending;
    enum class Filling { kNo, kYes } filling_ = Filling::kNo;  ///< choices of rows are not a person's
    wxTimer timer_;
    wxChoice* which_ = nullptr;
    wxChoice* diameter_ = nullptr;
    wxTextCtrl* smallest_ = nullptr;
    wxTextCtrl* largest_ = nullptr;
    wxTextCtrl* roundness_ = nullptr;
    wxCheckBox* withoutEdge_ = nullptr;
    SizeHistogram* histogram_ = nullptr;
    wxStaticText* statistics_ = nullptr;
    TableView* table_ = nullptr;
    wxButton* remove_ = nullptr;
    wxButton* export_ = nullptr;
};

}  // namespace Korvane
