// A record for this machine made from the processor facts and the last test.
#pragma once

/// Makes sure the record buffers exist (an empty table when none is loaded).
void EnsureRecordBuffers();

/// Fills RecordTitle and RecordFields with this machine and the last scores:
/// manufacturer, model, logical processors, operating system, speed and
/// power points, "yes"; the fields no test can know stay empty.
void FillRecordFromLastTest();
