#include "kinds/start_up.h"

#include "kinds/kinds.h"

namespace kestrav::kinds {

StartUp StartProgram(const platform::Device& device, std::u16string_view command_line,
                     engine::ProgressSink* sink) {
  StartUp start;
  start.os_major_version = device.os_major_version();
  start.scheduled_run = settings::HandleScheduleCommandLine(
      device, command_line, WorkerFactory(device), sink, &start.scheduled);
  return start;
}

}  // namespace kestrav::kinds
