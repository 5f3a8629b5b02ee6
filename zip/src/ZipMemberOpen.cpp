// ZipMemberOpen.cpp: in progress.
