// ZipSave.cpp: in progress.
