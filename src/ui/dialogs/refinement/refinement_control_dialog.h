#pragma once

#include <QDialog>
#include <array>

#include "run/refinement_control.h"

class QCheckBox;
class QComboBox;
class QLayout;
class QLineEdit;
class QRadioButton;
class QSpinBox;

namespace marvik {

// Controls of the dialog; each has its number as object name.
enum RefinementControlId : int {
  kCyclesEdit = 1018,
  kPlanEdit = 1019,
  kCyclesSpin = 1040,
  kPlanSpin = 1041,
  kExtinctionEdit = 1048,
  kOmitSigmasEdit = 1049,
  kInvertBox = 1050,
  kAnisoBox = 1051,
  kActaBox = 1052,
  kListCombo = 1053,
  kBondBox = 1054,
  kFourierCombo = 1055,
  kOmitTwoThetaEdit = 1060,
  kIdleRadio = 1124,
  kNormalRadio = 1125,
  kHighRadio = 1126,
  kRealtimeRadio = 1127,
  kOmitBox = 1218,
  kOmitSecondBox = 1219,
  kLeastSquaresRadio = 1226,
  kCglsRadio = 1227,
};

struct WeightRowIds {
  int previousBox;
  int previousEdit;
  int suggestedBox;
  int suggestedEdit;
};
inline constexpr std::array<WeightRowIds, kWeightRows> kWeightRowIds = {{{1202, 1047, 1203, 1042},
                                                                         {1210, 1056, 1211, 1043},
                                                                         {1212, 1057, 1213, 1044},
                                                                         {1214, 1058, 1215, 1045},
                                                                         {1216, 1059, 1217, 1046}}};

// "Refinement Control": the settings of the next refinement. What each control does is decided by the rules of
// refine/refinement_control.h; this class moves values between them and the controls.
class RefinementControlDialog : public QDialog {
  Q_OBJECT

 public:
  // `settings` must outlive the dialog and are changed by OK, the type at once.
  RefinementControlDialog(QWidget* parentWidget, RefinementSettings& settings);

  void accept() override;

 private:
  void BuildControls();
  QLayout* BuildLayout();
  QWidget* WeightGroup();
  QWidget* OmitGroup();
  QWidget* PriorityGroup();
  void Show();
  void Collect();
  void SyncEditStates();
  QCheckBox* Box(int id, const QString& text);
  QLineEdit* Edit(int id);
  QRadioButton* Radio(int id, const QString& text);
  QSpinBox* Spin(int id, int editId);

  struct WeightControls {
    QCheckBox* previous;
    QLineEdit* previousEdit;
    QCheckBox* suggested;
    QLineEdit* suggestedEdit;
  };

  RefinementSettings& settings_;
  ControlState state_;
  QRadioButton* leastSquares_ = nullptr;
  QRadioButton* cgls_ = nullptr;
  QSpinBox* cycles_ = nullptr;
  QSpinBox* plan_ = nullptr;
  QComboBox* list_ = nullptr;
  QComboBox* fourier_ = nullptr;
  QLineEdit* extinction_ = nullptr;
  QCheckBox* omit_ = nullptr;
  QCheckBox* omitSecond_ = nullptr;
  QLineEdit* omitSigmas_ = nullptr;
  QLineEdit* omitTwoTheta_ = nullptr;
  QCheckBox* bond_ = nullptr;
  QCheckBox* invert_ = nullptr;
  QCheckBox* aniso_ = nullptr;
  QCheckBox* acta_ = nullptr;
  std::array<WeightControls, kWeightRows> weights_{};
  std::array<QRadioButton*, 4> priorities_{};
};

}  // namespace marvik
