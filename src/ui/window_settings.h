#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

#include "app/workbench.h"
#include "draw/surface/lit_picture.h"

namespace marvik {

// What the window remembers between sessions, in "marvikui.ini" in the package directory. Without that directory the
// defaults stand and nothing is kept.
struct WindowSettings {
  QByteArray geometry;                   // as the toolkit packs it
  QByteArray layout;                     // of tool bars and panels, likewise
  QList<int> recentCommands;             // chosen in the palette, the latest first
  QString directory;                     // of the file dialogs
  QString selectText;                    // last entered under Select
  QString packText;                      // and under Pack
  QHash<QString, QString> dialogValues;  // and in the dialogs that edit atoms, by their names
  int rendition = kLitRendition;         // as of the first start
  Look look = Look::Dark;
  bool lookFollowsDesktop = false;
  bool safeColours = false;
  bool ambientShadow = true;
  bool inertia = false;
  bool labels = true;
  bool hydrogenLabels = false;
  bool hybridColours = false;
  bool tourSeen = false;
  bool restoresSession = false;  // opens lastFile when started without one
  QString lastFile;
  QString engine;
  QString engineOptions;
  QStringList olderFiles;  // of the recent ones, behind those that have a file of their own
  bool closeRunWhenFinished = false;
  bool skipsResult = true;          // accepts a refinement unasked when nothing moved
  double skipsResultBelow = 0.001;  // Å, what counts as nothing

  // How structures are shown, from and to the workbench.
  void ShowIn(Workbench& bench) const;
  void TakeFrom(const Workbench& bench);

  void Load();
  void Save() const;
};

}  // namespace marvik
