// ZipMemberInputStream.cpp: in progress.
