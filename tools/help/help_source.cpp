#include "help_source.h"

#include <QFile>
#include <QMap>
#include <QRegularExpression>
#include <QSet>
#include <QTextDocument>
#include <functional>

#include "app/commands/command_table.h"
#include "app/help_documents.h"
#include "app/version.h"
#include "language/keywords.h"
#include "ui/text.h"
#include "ui/texts/help_text.h"

namespace marvik {
namespace {

constexpr QLatin1String kGuide("Marvik_Users");

struct MenuPlace {
  QString path;  // "Bonds > Order"
  QString text;  // "Single"
};

QString Plain(const std::string& menuText) {
  QString text = QString::fromStdString(menuText);
  text.replace(QStringLiteral("&&"), QStringLiteral("\1")).remove(QLatin1Char('&'));
  return text.replace(QLatin1Char('\1'), QLatin1Char('&'));
}

// Every command entry of a menu in its order, with the names of the menus around it.
void Walk(const std::vector<MenuNode>& nodes, const QString& path,
          const std::function<void(int id, const MenuPlace&)>& take) {
  for (const MenuNode& node : nodes) {
    if (node.id == kRecentFilesMenu) {
      for (int i = 0; i < kRecentFileCount; ++i) {
        take(kFirstRecentFileCommand + i,
             {path + QStringLiteral(" > Recent Files"), QStringLiteral("Recent File %1").arg(i + 1)});
      }
    } else if (node.IsMenu()) {
      Walk(node.items, path.isEmpty() ? Plain(node.text) : path + QStringLiteral(" > ") + Plain(node.text), take);
    } else if (!node.IsSeparator()) {
      take(node.id, {path, Plain(node.text)});
    }
  }
}

struct PopupRow {
  MenuKind kind;
  const char* name;
};
constexpr PopupRow kPopups[] = {{MenuKind::AtomPopup, "Menu of an atom"},
                                {MenuKind::BondPopup, "Menu of a bond"},
                                {MenuKind::BackgroundPopup, "Menu of the background"}};

class Writer {
 public:
  Writer(const QString& folder, const QStringList& pictures) : folder_(folder), pictures_(pictures) {
    const auto note = [this](int id, const MenuPlace& place) {
      order_ << id;
      places_[id] << place;
    };
    Walk(MenuOf(MenuKind::Bar), {}, note);
    for (const PopupRow& popup : kPopups) Walk(MenuOf(popup.kind), QString::fromUtf8(popup.name), note);
    for (const CommandRow& row : CommandTable()) order_ << row.id;
  }

  HelpSource Write() {
    ReadDescriptions();
    for (const HelpDocument& document : HelpDocuments()) {
      const QString name = QString::fromUtf8(document.name);
      source_.documents[name] = Expanded(name, Read(name + QStringLiteral(".md")));
    }
    // The contents last: they hold what the others have become.
    for (const HelpDocument& document : HelpDocuments()) {
      QString& text = source_.documents[QString::fromUtf8(document.name)];
      if (text.contains(QStringLiteral("{{contents}}"))) {
        text.replace(QStringLiteral("{{contents}}"), Contents(text, QString()));
      }
    }
    for (QString& text : source_.documents) {
      if (text.contains(QStringLiteral("{{all}}"))) text.replace(QStringLiteral("{{all}}"), AllContents());
    }
    CheckLinks();
    return std::move(source_);
  }

 private:
  QString Read(const QString& name) {
    QFile file(folder_ + QLatin1Char('/') + name);
    if (!file.open(QIODevice::ReadOnly)) source_.faults << name + QStringLiteral(": cannot be read");
    return QString::fromUtf8(file.readAll());
  }

  // commands.md: "## 116 129" and the text for both below it.
  void ReadDescriptions() {
    for (const QString& part : Read(QStringLiteral("commands.md")).split(QStringLiteral("\n## ")).mid(1)) {
      const QString heading = part.section(QLatin1Char('\n'), 0, 0);
      QList<int> ids;
      for (const QString& word : heading.split(QLatin1Char(' '), Qt::SkipEmptyParts)) ids << word.toInt();
      for (int id : ids) {
        if (!FindCommand(id)) source_.faults << QStringLiteral("commands.md: there is no command %1").arg(id);
        if (groups_.contains(id)) source_.faults << QStringLiteral("commands.md: %1 is described twice").arg(id);
        groups_[id] = ids;
      }
      descriptions_[ids.front()] = part.section(QLatin1Char('\n'), 1).trimmed();
    }
    for (const CommandRow& row : CommandTable()) {
      if (groups_.contains(row.id)) continue;
      source_.faults << QStringLiteral("commands.md: %1 (%2) is not described").arg(row.id).arg(Plain(row.text));
      groups_[row.id] = {row.id};
    }
  }

  // "File > Open..." as a link to its description.
  QString LinkTo(const QString& document, int id) {
    if (!FindCommand(id)) {
      source_.faults << QStringLiteral("%1: there is no command %2").arg(document).arg(id);
      return {};
    }
    const MenuPlace place = places_[id].value(0, {QString(), Plain(FindCommand(id)->text)});
    const QString text = place.path.isEmpty() ? place.text : place.path + QStringLiteral(" > ") + place.text;
    return QStringLiteral("[%1](%2#command-%3)")
        .arg(text, document == kGuide ? QString() : QString(kGuide) + QStringLiteral(".md"))
        .arg(id);
  }

  QString Expanded(const QString& name, QString text) {
    text.replace(QStringLiteral("{{reference}}"), Reference());
    text.replace(QStringLiteral("{{keys}}"), Keys());
    text.replace(QStringLiteral("{{instructions}}"), Instructions());
    text.replace(QStringLiteral("{{version}}"), QString::fromUtf8(kProgramVersion));
    static const QRegularExpression number(QStringLiteral("\\{\\{([0-9]+)\\}\\}"));
    for (auto match = number.match(text); match.hasMatch(); match = number.match(text)) {
      text.replace(match.capturedStart(), match.capturedLength(), LinkTo(name, match.captured(1).toInt()));
    }
    return text;
  }

  QString Reference() {
    QString text;
    QString menu;
    QSet<int> written;
    for (int id : order_) {
      if (written.contains(id)) continue;
      const QList<int> group = groups_[id];
      for (int member : group) written << member;
      const QString path = places_[id].value(0).path;
      const QString top = path.isEmpty() ? QStringLiteral("Commands without an entry")
                          : path.startsWith(QStringLiteral("Menu of"))
                              ? path.section(QStringLiteral(" > "), 0, 0)
                              : QStringLiteral("The %1 menu").arg(path.section(QStringLiteral(" > "), 0, 0));
      if (top != menu) text += QStringLiteral("## %1\n\n").arg(top);
      menu = top;
      text += Entry(id, group);
    }
    return text;
  }

  QString Entry(int id, const QList<int>& group) {
    const CommandRow& row = *FindCommand(id);
    QStringList names;
    QStringList numbers;
    QStringList facts;
    for (int member : group) {
      const QString name = places_[member].isEmpty() ? Plain(FindCommand(member)->text) : places_[member][0].text;
      if (!names.contains(name)) names << name;
      numbers << QString::number(member);
      for (const MenuPlace& place : places_[member]) {
        if (!facts.contains(place.path)) facts << place.path;
      }
    }
    if (row.shortcut[0]) facts << QStringLiteral("**%1**").arg(QString::fromUtf8(row.shortcut));
    const QString argument = QString::fromUtf8(row.argument);
    facts << QStringLiteral("`%1%2%3`")
                 .arg(QString::fromUtf8(row.name), argument.isEmpty() ? QString() : QStringLiteral("="), argument);
    const QString line = facts.isEmpty() ? QString() : facts.join(QStringLiteral(" · ")) + QStringLiteral("\n\n");
    const QString missing = row.run ? QString() : QStringLiteral("*Not available in this version.*\n\n");
    return QStringLiteral("### %1 (%2)\n\n%3%4%5\n\n")
        .arg(names.join(QStringLiteral(", ")), numbers.join(QStringLiteral(", ")), line, missing,
             descriptions_.value(group.front()));
  }

  QString Keys() {
    QString text = QStringLiteral("| key | command |\n|---|---|\n");
    QSet<int> seen;
    for (int id : order_) {
      const CommandRow& row = *FindCommand(id);
      if (!row.shortcut[0] || seen.contains(id)) continue;
      seen << id;
      text += QStringLiteral("| %1 | {{%2}} |\n").arg(QString::fromUtf8(row.shortcut)).arg(id);
    }
    return text;
  }

  static QString Instructions() {
    QMap<QString, QString> meanings;
    for (int code = 0; code < kAllKeywords; ++code) {
      const KeywordRow& row = RowOf(static_cast<InstructionKeyword>(code));
      if (!row.meaning.empty()) meanings[ToText(row.spelling).trimmed()] = ToText(row.meaning);
    }
    QString text = QStringLiteral("| instruction | what it does |\n|---|---|\n");
    for (const auto& [spelling, meaning] : meanings.asKeyValueRange())
      text += QStringLiteral("| %1 | %2 |\n").arg(spelling, meaning);
    return text;
  }

  // Links to the headings of the first two levels below the title.
  static QString Contents(const QString& markdown, const QString& file) {
    QTextDocument document;
    document.setMarkdown(markdown);
    QString text;
    for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
      const int level = block.blockFormat().headingLevel();
      if (level != 2 || block.text() == QStringLiteral("Contents")) continue;
      text += QStringLiteral("- [%1](%2#%3)\n").arg(block.text(), file, HelpSlug(block.text()));
    }
    return text;
  }

  QString AllContents() {
    QString text;
    for (const HelpDocument& document : HelpDocuments()) {
      const QString name = QString::fromUtf8(document.name);
      const QString& other = source_.documents[name];
      if (other.contains(QStringLiteral("{{all}}"))) continue;
      const QString title = other.section(QLatin1Char('\n'), 0, 0).mid(2);
      text +=
          QStringLiteral("## %1\n\n").arg(title) + Contents(other, name + QStringLiteral(".md")) + QStringLiteral("\n");
    }
    return text;
  }

  void CheckLinks() {
    QMap<QString, QTextDocument*> read;
    QObject owner;
    for (auto at = source_.documents.begin(); at != source_.documents.end(); ++at) {
      auto* document = new QTextDocument(&owner);
      document->setMarkdown(at.value());
      read[at.key()] = document;
    }
    static const QRegularExpression link(QStringLiteral("(!?)\\]\\(([^)\" ]+)[^)]*\\)"));
    for (auto at = source_.documents.begin(); at != source_.documents.end(); ++at) {
      for (auto found = link.globalMatch(at.value()); found.hasNext();) {
        const QString target = found.next().captured(2);
        QString name = target.section(QLatin1Char('#'), 0, 0);
        if (name.startsWith(QStringLiteral("pictures/")) ? pictures_.contains(name.mid(9))
                                                         : name.contains(QStringLiteral("://"))) {
          continue;
        }
        name = name.isEmpty() ? at.key() : name.chopped(3);
        const QString slug = target.section(QLatin1Char('#'), 1);
        if (!read.contains(name) || (!slug.isEmpty() && !FindHelpHeading(*read[name], slug).isValid())) {
          source_.faults << QStringLiteral("%1.md: %2 leads nowhere").arg(at.key(), target);
        }
      }
    }
  }

  QString folder_;
  QStringList pictures_;
  QList<int> order_;  // of the menus, then the popups, then everything; with repetitions
  QMap<int, QList<MenuPlace>> places_;
  QMap<int, QList<int>> groups_;  // with whom a command is described
  QMap<int, QString> descriptions_;
  HelpSource source_;
};

}  // namespace

HelpSource ReadHelpSource(const QString& folder, const QStringList& pictures) {
  return Writer(folder, pictures).Write();
}

}  // namespace marvik
