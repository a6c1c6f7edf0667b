#pragma once

#include "surfaces/menu/MenuInputs.h"
#include "surfaces/menu/MenuState.h"

// What a row of the panel does, named so the owner can bind it: `arg` and `index` say which session, review,
// project or to-do it acts on.
struct MenuAction {
    enum class Verb {
        record,
        wrapUp,
        openBoard,
        addPin,
        voiceClick,
        showSettings,
        signIn,
        openStart,
        sendPins,
        openLibrary,
        answerWhere,
        tryPersonal,
        retryUploads,
        openReview,
        addSuggestion,
        moveLast,
        toggleUpNext,
        openTodo,
        startTodo,
        doneTodo,
        toggleWorkday,
        openProject,
        newProject,
        endDay,
        guide,
        settings,
        quit
    };
    QString id;
    Verb verb;
    QString arg;
    int index = -1;
    bool operator==(const MenuAction&) const = default;
};

struct BuiltMenu {
    MenuState state;
    QList<MenuAction> actions; // in the order the rows stand on screen
};

namespace MenuBuilder {
BuiltMenu build(const MenuInputs& in);
} // namespace MenuBuilder
