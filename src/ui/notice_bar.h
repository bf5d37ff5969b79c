#pragma once

#include <QToolBar>
#include <functional>
#include <map>
#include <vector>

namespace marvik {

// What the user should know and need not answer: sentences with buttons above the picture, hidden while there are none.
class NoticeBar : public QToolBar {
  Q_OBJECT

 public:
  explicit NoticeBar(QWidget* parentWidget);

  struct Button {
    QString text;
    std::function<void()> work;
  };
  // One notice under each key; a newer one takes its place. The user can always dismiss it.
  void Tell(const QString& key, const QString& sentence, const std::vector<Button>& buttons);
  void Withdraw(const QString& key);
  bool Tells(const QString& key) const { return rows_.contains(key); }
  // After the layout of the window was restored.
  void ShowIfNeeded() { setVisible(!rows_.empty()); }

 private:
  QWidget* list_ = nullptr;
  std::map<QString, QWidget*> rows_;
};

}  // namespace marvik
