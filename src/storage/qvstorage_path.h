// The one rule for paths in the configuration record.
#pragma once

// Copies a path that fits its field of QVENV_PATH_SIZE bytes. A longer one is never cut: it leaves the field, with one
// error line under the operation's name and false.
bool store_path(char *field, const char *path, const char *operation);
