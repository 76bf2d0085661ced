// The main page over the wire: the page's "main.*" messages answered from the main page's
// logic (desktop/main_page.h), dropped files imported, and the façade's progress events
// and stop flag carried to and from the page.
//
// Page -> server: {"op":"main.init"}; {"op":"main.list","place":{"kind":"folder"|"project"|
// "pack","folder":..,"project":..,"archive":..,"pack":..},"page":N}; {"op":"main.open",
// "key":K}; {"op":"main.report","pack":N}; {"op":"main.delete","keys":[..]};
// {"op":"main.restore","keys":[..]}; {"op":"main.stop"}.
// Server -> page: "main.init" (texts, folders, projects, packs), "main.list" (the page of
// rows), "main.doc" (a document's address), "main.changed" (the lists need reading
// again), "main.progress" (value, max, status), "main.status" (a line for the status bar).
#pragma once

#include <memory>
#include <vector>

#include "desktop/main_page.h"
#include "workbench/workbench_server.h"

namespace ravelin {
class Ravelin;
namespace workbench {

// Registers the handlers on `server`; `mail` is the façade whose events and stop flag the
// long operations use. The returned object keeps the façade subscription alive.
std::shared_ptr<void> InstallMainPage(WorkbenchServer& server, Ravelin& mail);

// A project tree as the page draws it: name, project, side and children of every node.
json::value ProjectTreeJson(const std::vector<desktop::ProjectNode>& nodes);

}  // namespace workbench
}  // namespace ravelin
