// frmSample: a form with one control of every kind, whose handlers report each event
// in the status bar and in labels, so that a page or a test can see every round trip.
// Registered as "sample". frmSampleAsk is the small modal form it opens.
#pragma once

#include <string>

#include "windows/forms/controls.h"

namespace ravelin::windows::forms {

// A question with an answer line, OK and Cancel; ModalResult 1 for OK.
class SampleAskForm : public Form {
 public:
  explicit SampleAskForm(const std::u16string& question);
  Label& lblQuestion;
  TextBox& txtAnswer;
  CommandButton& cmdOK;
  CommandButton& cmdCancel;
};

class SampleForm : public Form {
 public:
  SampleForm();

  Label& lblEcho;
  Label& lblKey;
  Label& lblAnswer;
  Label& lblTicks;
  TextBox& txtName;
  TextBox& txtNotes;
  TextBox& txtPassword;
  CheckBox& chkKeepOpen;
  CheckBox& chkEdit;
  OptionButton& optPlain;
  OptionButton& optHtml;
  ComboBox& cmbColour;
  ListView& LvwItems;
  TreeView& tvFolders;
  TabStrip& SSTab1;
  Toolbar& Toolbar1;
  StatusBar& StatusBar1;
  ProgressBar& Progressbar1;
  Timer& Timer1;
  PictureBox& picLogo;
  Menu& mnView;
  HtmlFrame& DHTMLEdit1;
  CommandButton& cmdAsk;

  // How often QueryUnload refused a close.
  int32_t refusedCloses = 0;

 private:
  void Status(const std::u16string& text) { StatusBar1.SetPanelText(0, text); }
  void Ask();
  void Preview();
  int32_t ticks_ = 0;
};

}  // namespace ravelin::windows::forms
