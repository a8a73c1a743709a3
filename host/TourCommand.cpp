// purfp tour: a short walk through the real forms without a display. On the
// database that `purfp init` wrote it enters an invoice from a supplier's open
// stock bills, saves and audits it, queries the invoices, exports the list
// and prints the invoice to PDF, saving a picture of each form on the way.
// Every dialog is answered by a recording responder: Yes/OK to messages and
// file names inside the output folder.
#include "host/HostCommands.h"
#include "host/OffscreenApplication.h"

#include "modules/Session.h"
#include "component/ComponentSession.h"
#include "component/clsCGIn.h"
#include "editor/EntryGridModel.h"
#include "editor/EntryRules.h"
#include "editor/frmMainBill.h"
#include "list/BillListModel.h"
#include "list/frmMainBillResult.h"
#include "list/frmUninvoiced.h"
#include "modules/ConnectionRoutines.h"
#include "platform/Amount.h"
#include "platform/Connection.h"
#include "platform/DbError.h"
#include "platform/FrozenTableView.h"
#include "platform/Prompt.h"
#include "platform/Recordset.h"
#include "printing/BillPrinting.h"
#include "query/frmMainBillFind.h"

#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QFileInfo>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPixmap>
#include <QPointer>
#include <QPushButton>
#include <QTableView>
#include <QTreeView>
#include <QTimer>

#include <cstdio>
#include <stdexcept>

namespace {

// A step that went wrong; the text says which and why.
struct TourFailure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

[[noreturn]] void fail(const QString &text)
{
    throw TourFailure(text.toStdString());
}

template <typename T>
T *child(QWidget *form, const QString &name)
{
    T *w = form->findChild<T *>(name);
    if (!w)
        fail(QStringLiteral("窗体 %1 上没有控件 %2").arg(form->objectName(), name));
    return w;
}

void settle()
{
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void pressKey(QWidget *target, int key, const QString &text = {})
{
    QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier, text);
    QApplication::sendEvent(target, &press);
    QKeyEvent release(QEvent::KeyRelease, key, Qt::NoModifier, text);
    QApplication::sendEvent(target, &release);
}

// Types plain ASCII text key by key, replacing what the box holds, the way a
// clerk does, so the form sees the same edit signals.
void typeText(QLineEdit *edit, const QString &text)
{
    edit->setFocus();
    edit->selectAll();
    for (QChar c : text)
        pressKey(edit, c.toUpper().unicode(), QString(c));
}

void typeInto(QWidget *form, const QString &name, const QString &text)
{
    auto *edit = child<QLineEdit>(form, name);
    typeText(edit, text);
    pressKey(edit, Qt::Key_Return);
}

// Types into a cell of the entry grid through its editor and commits with Enter.
void typeIntoCell(frmMainBill *form, int gridRow, int gridColumn, const QString &text)
{
    auto *grid = child<FrozenTableView>(form, QStringLiteral("fps1"));
    QLineEdit *editor = grid->editCell(grid->model()->index(gridRow - 1, gridColumn - 1));
    if (!editor)
        fail(QStringLiteral("第 %1 行第 %2 列不能编辑").arg(gridRow).arg(gridColumn));
    typeText(editor, text);
    pressKey(editor, Qt::Key_Return);
    settle();
    if (form->grid()->cellText(gridRow, gridColumn) != text)
        fail(QStringLiteral("第 %1 行第 %2 列没有接受 %3").arg(gridRow).arg(gridColumn).arg(text));
}

void savePicture(QWidget *w, const QString &path, QStringList &written)
{
    settle();
    if (!w->grab().save(path, "PNG"))
        fail(QStringLiteral("无法写入图片 %1").arg(path));
    written << path;
}

// The messages shown since the responder was last cleared, for error texts.
QString shownMessages(const Prompt::RecordingResponder &r)
{
    const QStringList texts = r.messageTexts();
    return texts.isEmpty() ? QStringLiteral("(无提示)") : texts.join(QStringLiteral(" / "));
}

struct Supplier {
    QString number;
    Amount open;
};

// The supplier whose stock-in bills still open to invoicing hold the largest
// uninvoiced amount: the fill offers that supplier's bills.
Supplier supplierWithOpenStock()
{
    Session &s = componentSession();
    OpenConnection(s);
    ConnectionScope scope(s);
    Recordset rs = s.gConn->openRecordset(QStringLiteral(
        "select i.fnumber as fnumber, sum(isnull(s.fAllAmount,0)-isnull(s.fKPAmount,0)) as fopen"
        " from icstockbill s join tblItem i on i.fitemid=s.fsupplyid"
        " where s.ftrantype=1 and s.fcancellation=0 and isnull(s.fAllAmount,0)<>isnull(s.fKPAmount,0)"
        " and isnull(s.fISKP,1)=1 and s.fAllAmount>0"
        " group by i.fnumber order by fopen desc, i.fnumber"));
    if (rs.eof())
        fail(QStringLiteral("演示数据中没有尚未开票的入库单"));
    return {rs.text(QStringLiteral("fnumber")), Amount::fromVariant(rs.value(QStringLiteral("fopen")))};
}

// Enters, saves and audits a new invoice; returns its bill number.
QString enterInvoice(const QString &out, Prompt::RecordingResponder &prompts, QStringList &written)
{
    Session &s = componentSession();
    const Supplier supplier = supplierWithOpenStock();
    // A round total the supplier's open bills can cover.
    const Amount hundred = Amount::fromInt(100);
    const Amount total = supplier.open.units() >= hundred.units() ? hundred : supplier.open;

    s.gBillMode = 0;
    frmMainBill *f = frmMainBill::defaultInstance(s);
    f->resize(1000, 640);
    f->show();
    QApplication::setActiveWindow(f);
    settle();

    typeInto(f, QStringLiteral("td_0"), supplier.number);
    if (!f->fieldValue(QStringLiteral("fSupplyId")).startsWith(supplier.number + QStringLiteral("&**&")))
        fail(QStringLiteral("供应商代码 %1 没有被接受").arg(supplier.number));
    typeInto(f, QStringLiteral("txt_0"), QStringLiteral("No.2026-001"));
    typeInto(f, QStringLiteral("txtAmount"), total.toString());
    prompts.clear();
    child<QPushButton>(f, QStringLiteral("cmdList"))->click();
    settle();
    EntryGridModel *grid = f->grid();
    if (grid->gridRowCount() == 0)
        fail(QStringLiteral("选入库单没有列出任何入库单: %1").arg(shownMessages(prompts)));

    // The total is spread over the blue bills in the order listed, each
    // taking at most what is still open on it.
    std::int64_t remaining = total.units();
    for (int r = 1; r <= grid->gridRowCount() && remaining > 0; ++r) {
        const auto all = numericAmount(grid->cellText(r, ColAllAmount));
        const auto open = numericAmount(grid->cellText(r, ColOpenAmount));
        if (!all || !open || all->units() <= 0 || open->units() <= 0)
            continue;
        const std::int64_t take = std::min(remaining, open->units());
        typeIntoCell(f, r, ColThisAmount, Amount::fromUnits(take).toString());
        remaining -= take;
    }
    if (remaining != 0)
        fail(QStringLiteral("入库单的未开票金额不足以分配发票总额 %1").arg(total.toString()));

    prompts.clear();
    f->MenuSave_Click();
    settle();
    if (!prompts.messageTexts().contains(QStringLiteral("数据保存成功！")) || s.gBillMode != 1)
        fail(QStringLiteral("发票没有保存: %1").arg(shownMessages(prompts)));
    prompts.clear();
    f->MenuCheck_Click();
    settle();
    if (!prompts.messageTexts().contains(QStringLiteral("审核成功!")))
        fail(QStringLiteral("发票没有审核: %1").arg(shownMessages(prompts)));
    const QString billNo = child<QLineEdit>(f, QStringLiteral("txtBillNo"))->text();
    savePicture(f, QDir(out).filePath(QStringLiteral("采购发票.png")), written);

    const QString pdf = QDir(out).filePath(QStringLiteral("采购发票.pdf"));
    QString error;
    if (!exportBillPdf(s, pdf, &error) || !QFileInfo(pdf).isFile())
        fail(QStringLiteral("无法打印发票到 %1: %2").arg(pdf, error.isEmpty() ? QStringLiteral("没有默认打印模板") : error));
    written << pdf;

    QPointer<frmMainBill> guard(f);
    prompts.clear();
    f->close();
    settle();
    if (guard && guard->isVisible())
        fail(QStringLiteral("编辑窗口没有关闭: %1").arg(shownMessages(prompts)));
    delete guard.data();
    settle();
    return billNo;
}

// Opens the query dialog on the simple page for all dates, presses OK and,
// while the list waits modally, pictures and exports it.
void queryAndList(const QString &out, const QString &billNo, Prompt::RecordingResponder &prompts, QStringList &written)
{
    frmMainBillFind *dialog = frmMainBillFind::instance(componentSession());
    dialog->setUsesGrid(false);
    auto *range = child<QComboBox>(dialog, QStringLiteral("PC_1"));
    const int all = range->findText(QStringLiteral("全部"));
    if (all < 0)
        fail(QStringLiteral("查询窗口的日期范围没有“全部”"));
    range->setCurrentIndex(all);
    dialog->show();
    QApplication::setActiveWindow(dialog);
    savePicture(dialog, QDir(out).filePath(QStringLiteral("发票查询.png")), written);

    QString listError = QStringLiteral("查询后没有打开发票列表");
    const QString xlsx = QDir(out).filePath(QStringLiteral("发票列表.xlsx"));
    QTimer::singleShot(0, dialog, [&] {
        frmMainBillResult *list = frmMainBillResult::existingInstance();
        if (!list || !list->isVisible())
            return;
        try {
            list->resize(1000, 560);
            const BillListModel *model = list->model();
            int found = 0;
            for (int r = 1; r <= model->dataRowCount() && !found; ++r)
                for (int c = 0; c < model->columnCount() && !found; ++c)
                    if (model->index(r - 1, c).data().toString() == billNo)
                        found = r;
            if (!found)
                fail(QStringLiteral("发票列表中没有新发票 %1").arg(billNo));
            // The new invoice scrolled into view, so that the picture shows it.
            auto *grid = child<QTableView>(list, QStringLiteral("vsf1"));
            grid->scrollTo(grid->model()->index(found - 1, 0), QAbstractItemView::PositionAtCenter);
            savePicture(list, QDir(out).filePath(QStringLiteral("发票列表.png")), written);
            prompts.clear();
            prompts.fileNames.push_back(xlsx);
            list->MenuExcel_Click();
            if (!QFileInfo(xlsx).isFile())
                fail(QStringLiteral("发票列表没有导出到 %1: %2").arg(xlsx, shownMessages(prompts)));
            written << xlsx;
            listError.clear();
        } catch (const TourFailure &e) {
            listError = QString::fromStdString(e.what());
        }
        list->MenuFileExit_Click();
    });
    prompts.clear();
    dialog->cmdXPOK_Click();
    settle();
    if (!listError.isEmpty())
        fail(listError + QStringLiteral(": ") + shownMessages(prompts));
    if (frmMainBillFind *left = frmMainBillFind::existingInstance())
        left->close();
    settle();
}

// The received-not-invoiced form: the supplier totals with the first
// supplier's bills open, and its export.
void showUninvoiced(const QString &out, Prompt::RecordingResponder &prompts, QStringList &written)
{
    std::unique_ptr<frmUninvoiced> form = std::make_unique<frmUninvoiced>(componentSession());
    form->resize(1000, 560);
    form->show();
    prompts.clear();
    if (!form->cmdQuery_Click() || form->totals().suppliers.empty())
        fail(QStringLiteral("未开票入库单窗口没有读出供应商: ") + shownMessages(prompts));
    child<QTreeView>(form.get(), QStringLiteral("vsf1"))->expand(form->model()->index(0, 0));
    settle();
    savePicture(form.get(), QDir(out).filePath(QStringLiteral("未开票入库单.png")), written);
    const QString xlsx = QDir(out).filePath(QStringLiteral("未开票入库单.xlsx"));
    prompts.fileNames.push_back(xlsx);
    form->cmdExcel_Click();
    if (!QFileInfo(xlsx).isFile())
        fail(QStringLiteral("未开票入库单没有导出到 %1: %2").arg(xlsx, shownMessages(prompts)));
    written << xlsx;
}

} // namespace

int runTour(const QStringList &input)
{
    QString out;
    for (int i = 0; i < input.size(); ++i) {
        if (input[i] == u"--out" && i + 1 < input.size()) {
            out = input[++i];
        } else {
            std::fprintf(stderr, "purfp tour: 未知的参数: %s\n", qPrintable(input[i]));
            return 2;
        }
    }
    if (out.isEmpty()) {
        std::fprintf(stderr, "purfp tour: 请用 --out 目录 指定输出目录\n");
        return 2;
    }
    if (!QDir().mkpath(out)) {
        std::fprintf(stderr, "purfp tour: 无法创建目录 %s\n", qPrintable(out));
        return 1;
    }
    out = QDir(out).absolutePath();

    // The forms draw into memory: no display is needed.
    OffscreenApplication app;
    Prompt::RecordingResponder &prompts = app.prompts;
    QStringList written;
    int status = 0;
    try {
        QString error;
        // Runs the session start-up from the settings store and registers
        // the query dialog, the list and the print hooks with one another.
        std::unique_ptr<clsCGIn> component = clsCGIn::create(&error);
        if (!component)
            fail(QStringLiteral("无法启动组件: %1").arg(error));
        const QString billNo = enterInvoice(out, prompts, written);
        queryAndList(out, billNo, prompts, written);
        showUninvoiced(out, prompts, written);
        releaseBillReport();
    } catch (const TourFailure &e) {
        std::fprintf(stderr, "purfp tour: %s\n", e.what());
        status = 1;
    } catch (const DbError &e) {
        std::fprintf(stderr, "purfp tour: 数据库错误: %s\n", qPrintable(e.description()));
        status = 1;
    }
    // The forms' default instances go before the application does.
    frmMainBillFind::releaseInstance();
    settle();
    delete frmMainBillResult::existingInstance();
    delete frmMainBill::existingInstance();
    settle();
    CloseConnection(componentSession());
    if (status == 0)
        for (const QString &path : written)
            std::printf("%s\n", qPrintable(path));
    return status;
}
