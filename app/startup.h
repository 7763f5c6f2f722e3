// The start-up initialiser.
#pragma once

/// The global initialiser: drawing resources, then the processor facts and
/// the power test's defaults. Runs once, after the main window is shown.
void InitGlobals();
