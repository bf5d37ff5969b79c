#include "ui/file_watch.h"

#include <QFileInfo>
#include <memory>

#include "app/open_save.h"
#include "ui/text.h"

namespace marvik {
namespace {

constexpr int kSettling = 300;  // ms: who writes a file may not be done at the first sign of it
const QString kDisk = QStringLiteral("disk");
const QString kGone = QStringLiteral("gone");
const QString kMolecules = QStringLiteral("molecules");

}  // namespace

FileWatch::FileWatch(Workbench& bench, NoticeBar& notices, CommandRunner run, std::function<bool()> isFree)
    : QObject(&notices),
      bench_(bench),
      notices_(notices),
      run_(std::move(run)),
      isFree_(std::move(isFree)),
      background_(this) {
  timer_.setSingleShot(true);
  timer_.setInterval(kSettling);
  connect(&timer_, &QTimer::timeout, this, &FileWatch::Check);
  connect(&watcher_, &QFileSystemWatcher::fileChanged, this, &FileWatch::CheckSoon);
  connect(&watcher_, &QFileSystemWatcher::directoryChanged, this, &FileWatch::CheckSoon);
}

void FileWatch::FileOpened() {
  for (const QString& subject : {kDisk, kGone, kMolecules}) notices_.Withdraw(subject);
  openedAt_ = bench_.changes;
  if (!bench_.document.atoms.head) return;
  const auto copy = std::make_shared<const Document>(bench_.document);
  background_.Start([this, copy]() -> std::function<void()> {
    const size_t apart = AtomsApart(*copy);
    return [this, apart] { TellOfMolecules(apart); };
  });
}

void FileWatch::TellOfMolecules(size_t atoms) {
  if (atoms == 0 || bench_.changes != openedAt_) return;
  notices_.Tell(
      kMolecules,
      atoms == 1
          ? tr("A molecule of this file is in pieces: 1 atom is bonded to others by symmetry only.")
          : tr("Molecules of this file are in pieces: %1 atoms are bonded to others by symmetry only.").arg(atoms),
      {{tr("Put Together (FMOL)"), [this] { run_(kFmolCommand, {}); }}});
}

void FileWatch::Follow() {
  if (watched_ != bench_.document.CurrentFile) WatchCurrent();
  if (bench_.changes != openedAt_) notices_.Withdraw(kMolecules);
  if (notices_.Tells(kDisk) || notices_.Tells(kGone)) CheckSoon();
}

void FileWatch::WatchCurrent() {
  watched_ = bench_.document.CurrentFile;
  if (!watcher_.files().isEmpty()) watcher_.removePaths(watcher_.files());
  if (!watcher_.directories().isEmpty()) watcher_.removePaths(watcher_.directories());
  if (watched_.empty()) return;
  const QFileInfo file(PathToText(watched_));
  watcher_.addPath(file.absolutePath());
  if (file.exists()) watcher_.addPath(file.absoluteFilePath());
}

// What is shown may be the only copy: it counts as unsaved.
void FileWatch::TellThatItIsGone(const QString& name) {
  notices_.Withdraw(kDisk);
  if (notices_.Tells(kGone)) return;
  bench_.SetModified(true);
  notices_.Tell(kGone, tr("%1 is no longer on the disk: this window may hold the only copy.").arg(name),
                {{tr("Save"), [this] { run_(kSaveCommand, {}); }}});
}

void FileWatch::Check() {
  if (!isFree_()) return CheckSoon();
  // A file that was renamed over the old one is not watched yet.
  WatchCurrent();
  const QString name = PathToText(FileNameOf(watched_));
  if (GoneFromDisk(bench_)) return TellThatItIsGone(name);
  notices_.Withdraw(kGone);
  if (!ChangedOnDisk(bench_)) return notices_.Withdraw(kDisk);
  if (notices_.Tells(kDisk)) return;
  notices_.Tell(kDisk,
                bench_.modified
                    ? tr("%1 was changed by another program, and there are changes here that were not saved.").arg(name)
                    : tr("%1 was changed by another program.").arg(name),
                {{tr("Reload"), [this] { run_(kReloadCommand, {}); }},
                 {tr("Keep"),
                  [this] {
                    KeepDespiteDisk(bench_);
                    notices_.Withdraw(kDisk);
                  }},
                 {tr("Compare"), [this] { run_(kCompareCommand, "old=disk new=current"); }}});
}

}  // namespace marvik
