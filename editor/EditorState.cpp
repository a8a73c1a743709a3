#include "editor/EditorState.h"

CommandState commandStateFor(const BillView &view)
{
    const bool frozen = view.status == 1 || view.cancellation != 0 || view.earlierPeriod;
    const bool viewOnly = view.mode == 3;
    CommandState c;
    c.editable = !frozen && !viewOnly;
    c.check = c.editable;
    // A new bill is not on the list: First and Last lead to its ends.
    const int count = view.listCount;
    const int at = view.listIndex;
    const bool onList = count > 0 && view.mode != 0;
    c.first = count > 0 && (!onList || at > 0);
    c.back = onList && at > 0 && at < count;
    c.next = onList && at >= 0 && at < count - 1;
    c.last = count > 0 && (!onList || at < count - 1);
    return c;
}

QString modeWord(int mode)
{
    switch (mode) {
    case 0: return QStringLiteral("新增");
    case 1: return QStringLiteral("修改");
    case 2: return QStringLiteral("拆分");
    case 3: return QStringLiteral("查看");
    default: return {};
    }
}

QString billStateText(const BillView &view)
{
    if (view.cancellation != 0)
        return QStringLiteral("已作废");
    if (view.earlierPeriod && view.status != 1)
        return QStringLiteral("以前期间");
    return view.status == 1 ? QStringLiteral("已审核") : QStringLiteral("未审核");
}
