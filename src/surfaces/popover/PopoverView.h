#pragma once

#include "surfaces/design/Motion.h"
#include "surfaces/design/OVCard.h"
#include "surfaces/menu/MenuState.h"
#include "surfaces/popover/PanelPart.h"

#include <optional>

class AttentionCard;
class ClampedText;
class LiveMeter;
class MenuModel;
class OVSection;
class OpenBoardButton;
class PanelHeader;
class QScrollArea;
class QVBoxLayout;
class QuickRow;
class RecordBlock;
class RowList;
class TodoList;
class UpNextHead;
class WorkdayRow;

// The tray panel's content: the model's state drawn top to bottom at a fixed width; the keyboard selection
// drawn as selected; a click runs its action through the model. Taller content scrolls inside the card.
class PopoverView : public OVCard {
    Q_OBJECT
public:
    static constexpr int width = 348;     // the card's content width
    static constexpr int maxHeight = 680; // taller content scrolls

    explicit PopoverView(MenuModel& model, QWidget* parent = nullptr);
    // With the recording's level for the orb, and the desktop's choice of motion.
    PopoverView(MenuModel& model, const LiveMeter* meter, Motion motion, QWidget* parent = nullptr);
    ~PopoverView() override;

    // The height the content wants at `width`, before the cap.
    int contentHeight() const;
    // Where the control of `id` stands, in this widget's coordinates (outside the card while scrolled away);
    // empty when the panel does not show it.
    QRect areaOf(const QString& id) const;
    // Freezes the orb, for pictures.
    void setSnapshot(bool snapshot);

signals:
    // The content's height changed by more than half a pixel.
    void contentHeightChanged(int height);

private:
    void refresh();
    void fill(const MenuState& s, bool upNextOpen);
    void setCards(const QList<Attn>& cards);
    void fitHeight();
    void showSelection();
    QList<std::pair<QWidget*, PanelPart*>> parts() const;
    template <class Part> Part* add(Part* part);

    MenuModel& m_model;
    PanelActions m_actions;
    // Before the parts: each registers itself here as it is made.
    QList<std::pair<QWidget*, PanelPart*>> m_fixedParts;
    QScrollArea* m_scroll;
    QWidget* m_column;
    QVBoxLayout* m_layout;
    PanelHeader* m_header;
    RecordBlock* m_record;
    OpenBoardButton* m_board;
    QuickRow* m_quick;
    QWidget* m_cardBox;
    QList<AttentionCard*> m_cards;
    UpNextHead* m_upNext;
    ClampedText* m_note;
    TodoList* m_todos;
    WorkdayRow* m_workday;
    OVSection* m_projectsHead;
    RowList* m_projects;
    RowList* m_footer;

    // What is on screen, so that a selection move or an unchanged rebuild redraws only the selection.
    std::optional<MenuState> m_shown;
    bool m_shownOpen = true;
    int m_contentHeight = 0;
    bool m_scrolls = false;
};
