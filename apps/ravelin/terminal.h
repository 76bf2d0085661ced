// The terminal as the user of message boxes, input boxes and the message window.
#pragma once

namespace ravelin::cli {

// Installs the terminal interaction: on a terminal it asks; otherwise each box takes its
// default answer and says so on stderr.
void InstallTerminalInteraction();

}  // namespace ravelin::cli
