// ZipMemberOutputStream.cpp: in progress.
