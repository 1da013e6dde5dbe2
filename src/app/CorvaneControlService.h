#pragma once

#include <systemd/sd-bus.h>

class CorvaneApplication;

// The control interface (com.corvane.Corvane.Control at /com/corvane/Corvane/control), through
// which a person or a test plays the user of the application's window:
//   ListDocuments() -> h                a sealed memory file with the open documents as a JSON
//                                       array
//   CloseTab(s GUID)                    closes the document's tab
//   FinishMerge(s GUID, b resolved, s result)
//                                       resolved: writes the result into the output file (""
//                                       or "left": the left side, "right", "base", or the path
//                                       of a file whose content to write), then reports the merge
//                                       and closes its tab
//   Quit()                              ends the application
// and, with a window (without one they answer com.corvane.Corvane.Error.NoWindow):
//   DescribeDocument(s GUID) -> s       what the document's tab shows, as a JSON object
//   ActivateAction(s GUID, s action)    selects the tab and activates a window action on it
//                                       ("next-change", "close-tab", "wrap-lines"...)
//   SaveScreenshot(s path)              renders the window into a PNG file
namespace CorvaneControlService {

// Exports the interface on the bus for the application; a negative errno on failure.
int add(sd_bus* bus, CorvaneApplication& application, sd_bus_slot** slot);

}  // namespace CorvaneControlService
