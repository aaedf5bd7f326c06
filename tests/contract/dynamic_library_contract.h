#pragma once

/// Makes the test modules loadable: nothing to do for real ones, a table for the scripted body.
void PrepareTestModules();
