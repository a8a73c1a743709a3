// The band designer's property panel: the selected item's text, field,
// format, font, alignment, frame, wrapping and geometry.
#include "report/ReportDesigner.h"
#include "report/ReportText.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFontComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QSpinBox>

namespace report {

void ReportDesigner::buildPanel()
{
    m_panel = new QWidget;
    m_panel->setObjectName(QStringLiteral("propertyPanel"));
    auto *form = new QFormLayout(m_panel);
    m_panelTitle = new QLabel(QStringLiteral("未选择对象"));
    form->addRow(m_panelTitle);
    m_text = new QLineEdit;
    m_text->setObjectName(QStringLiteral("propText"));
    form->addRow(QStringLiteral("文字"), m_text);
    m_field = new QComboBox;
    m_field->setObjectName(QStringLiteral("propField"));
    m_field->setEditable(true);
    form->addRow(QStringLiteral("字段"), m_field);
    m_format = new QComboBox;
    m_format->setObjectName(QStringLiteral("propFormat"));
    m_format->setEditable(true);
    m_format->addItems({QString(), QStringLiteral("#,##0.00"), QStringLiteral("0.00"), QStringLiteral("#,##0"),
                        QStringLiteral("0.####"), QStringLiteral("#,##0.00;-#,##0.00;"), QStringLiteral("yyyy-MM-dd"),
                        QStringLiteral("yyyy年MM月dd日"), amountInWordsFormat()});
    form->addRow(QStringLiteral("格式"), m_format);
    m_fontFamily = new QFontComboBox;
    m_fontFamily->setObjectName(QStringLiteral("propFontFamily"));
    form->addRow(QStringLiteral("字体"), m_fontFamily);
    m_fontSize = new QDoubleSpinBox;
    m_fontSize->setObjectName(QStringLiteral("propFontSize"));
    m_fontSize->setRange(0, 200);
    m_fontSize->setDecimals(1);
    m_fontSize->setSpecialValueText(QStringLiteral("默认"));
    form->addRow(QStringLiteral("字号"), m_fontSize);
    m_bold = new QCheckBox(QStringLiteral("粗体"));
    m_bold->setObjectName(QStringLiteral("propBold"));
    form->addRow(m_bold);
    m_align = new QComboBox;
    m_align->setObjectName(QStringLiteral("propAlign"));
    m_align->addItems({QStringLiteral("左对齐"), QStringLiteral("居中"), QStringLiteral("右对齐")});
    form->addRow(QStringLiteral("对齐"), m_align);
    auto *frameRow = new QWidget;
    auto *frameLayout = new QHBoxLayout(frameRow);
    frameLayout->setContentsMargins(0, 0, 0, 0);
    const QString frameNames[4] = {QStringLiteral("左"), QStringLiteral("上"), QStringLiteral("右"), QStringLiteral("下")};
    const char *frameKeys[4] = {"propFrameLeft", "propFrameTop", "propFrameRight", "propFrameBottom"};
    for (int i = 0; i < 4; ++i) {
        m_frame[i] = new QCheckBox(frameNames[i]);
        m_frame[i]->setObjectName(QString::fromLatin1(frameKeys[i]));
        frameLayout->addWidget(m_frame[i]);
    }
    form->addRow(QStringLiteral("边框"), frameRow);
    m_wordWrap = new QCheckBox(QStringLiteral("自动换行"));
    m_wordWrap->setObjectName(QStringLiteral("propWordWrap"));
    m_canGrow = new QCheckBox(QStringLiteral("自动伸展"));
    m_canGrow->setObjectName(QStringLiteral("propCanGrow"));
    form->addRow(m_wordWrap);
    form->addRow(m_canGrow);
    const QString geometryNames[4] = {QStringLiteral("左 (0.1mm)"), QStringLiteral("顶 (0.1mm)"),
                                      QStringLiteral("宽 (0.1mm)"), QStringLiteral("高 (0.1mm)")};
    const char *geometryKeys[4] = {"propX", "propY", "propWidth", "propHeight"};
    for (int i = 0; i < 4; ++i) {
        m_geometry[i] = new QSpinBox;
        m_geometry[i]->setObjectName(QString::fromLatin1(geometryKeys[i]));
        m_geometry[i]->setRange(i < 2 ? 0 : 0, 100000);
        form->addRow(geometryNames[i], m_geometry[i]);
    }

    connect(m_text, &QLineEdit::editingFinished, this, &ReportDesigner::panelEdited);
    connect(m_field, &QComboBox::textActivated, this, [this](const QString &name) {
        if (m_updatingPanel || name.isEmpty())
            return;
        m_text->setText(u'[' + name + u']');
        panelEdited();
    });
    connect(m_format, &QComboBox::currentTextChanged, this, &ReportDesigner::panelEdited);
    connect(m_fontFamily, &QFontComboBox::currentFontChanged, this, &ReportDesigner::panelEdited);
    connect(m_fontSize, &QDoubleSpinBox::valueChanged, this, &ReportDesigner::panelEdited);
    connect(m_align, &QComboBox::currentIndexChanged, this, &ReportDesigner::panelEdited);
    for (QCheckBox *box : {m_bold, m_frame[0], m_frame[1], m_frame[2], m_frame[3], m_wordWrap, m_canGrow})
        connect(box, &QCheckBox::toggled, this, &ReportDesigner::panelEdited);
    for (QSpinBox *spin : m_geometry)
        connect(spin, &QSpinBox::valueChanged, this, &ReportDesigner::panelEdited);
}

void ReportDesigner::updatePanel()
{
    const auto refs = selectedItems();
    const bool single = refs.size() == 1;
    m_updatingPanel = true;
    for (QWidget *w : m_panel->findChildren<QWidget *>())
        if (w != m_panelTitle)
            w->setEnabled(single);
    if (!single) {
        m_panelTitle->setText(refs.isEmpty() ? QStringLiteral("未选择对象") : QStringLiteral("选择了 %1 个对象").arg(refs.size()));
        m_updatingPanel = false;
        return;
    }
    const ReportItem &item = m_tpl.band(refs[0].band).items[refs[0].index];
    static const QString kindNames[] = {QStringLiteral("文字"), QStringLiteral("线"), QStringLiteral("框"), QStringLiteral("图片")};
    m_panelTitle->setText(QStringLiteral("%1：%2 第 %3 项").arg(kindNames[int(item.kind)], bandKindCaption(refs[0].band)).arg(refs[0].index + 1));
    const bool text = item.kind == ItemKind::Text;
    for (QWidget *w : {static_cast<QWidget *>(m_text), static_cast<QWidget *>(m_field), static_cast<QWidget *>(m_format),
                       static_cast<QWidget *>(m_fontFamily), static_cast<QWidget *>(m_fontSize), static_cast<QWidget *>(m_bold),
                       static_cast<QWidget *>(m_align), static_cast<QWidget *>(m_wordWrap), static_cast<QWidget *>(m_canGrow),
                       static_cast<QWidget *>(m_frame[0]), static_cast<QWidget *>(m_frame[1]),
                       static_cast<QWidget *>(m_frame[2]), static_cast<QWidget *>(m_frame[3])})
        w->setEnabled(text);
    m_text->setText(item.text);
    m_field->setCurrentText(item.text.startsWith(u'[') && item.text.endsWith(u']') && item.text.count(u'[') == 1
                                ? item.text.mid(1, item.text.size() - 2)
                                : QString());
    m_format->setCurrentText(item.format);
    m_fontFamily->setCurrentFont(QFont(item.font.family.isEmpty() ? m_tpl.fontFamily : item.font.family));
    m_fontSize->setValue(item.font.size);
    m_bold->setChecked(item.font.bold);
    m_align->setCurrentIndex(int(item.align));
    m_frame[0]->setChecked(item.frame.left);
    m_frame[1]->setChecked(item.frame.top);
    m_frame[2]->setChecked(item.frame.right);
    m_frame[3]->setChecked(item.frame.bottom);
    m_wordWrap->setChecked(item.wordWrap);
    m_canGrow->setChecked(item.canGrow);
    const QRect g = item.geometry;
    const int values[4] = {g.x(), g.y(), g.width(), g.height()};
    for (int i = 0; i < 4; ++i)
        m_geometry[i]->setValue(values[i]);
    m_updatingPanel = false;
}

void ReportDesigner::panelEdited()
{
    if (m_updatingPanel || m_rebuilding)
        return;
    const auto refs = selectedItems();
    if (refs.size() != 1)
        return;
    ReportTemplate after = m_tpl;
    ReportItem &item = after.band(refs[0].band).items[refs[0].index];
    if (item.kind == ItemKind::Text) {
        item.text = m_text->text();
        item.format = m_format->currentText();
        const QString family = m_fontFamily->currentFont().family();
        if (family != (item.font.family.isEmpty() ? m_tpl.fontFamily : item.font.family))
            item.font.family = family == m_tpl.fontFamily ? QString() : family;
        item.font.size = m_fontSize->value();
        item.font.bold = m_bold->isChecked();
        item.align = HAlign(m_align->currentIndex());
        item.frame.left = m_frame[0]->isChecked();
        item.frame.top = m_frame[1]->isChecked();
        item.frame.right = m_frame[2]->isChecked();
        item.frame.bottom = m_frame[3]->isChecked();
        item.wordWrap = m_wordWrap->isChecked();
        item.canGrow = m_canGrow->isChecked();
    }
    item.geometry = QRect(m_geometry[0]->value(), m_geometry[1]->value(), m_geometry[2]->value(), m_geometry[3]->value());
    change(after, QStringLiteral("修改属性"));
}

} // namespace report
