// The verbs of wpctl, by the file that holds them. Each function adds its verbs to the group that
// it is given; the table of groups is in main.cpp.
#pragma once

namespace wpctl {

class Group;

void AddDbInit(Group& db);
void AddDbUpgrade(Group& db);

void AddCameraAdd(Group& camera);
void AddCameraList(Group& camera);
void AddCameraPtz(Group& camera);
void AddCameraRemove(Group& camera);
void AddCameraSet(Group& camera);
void AddCameraShow(Group& camera);
void AddCameraSnapshot(Group& camera);
void AddCameraTune(Group& camera);
void AddCameraVerify(Group& camera);
void AddCameraWatch(Group& camera);

void AddScheduleSet(Group& schedule);
void AddScheduleShow(Group& schedule);

void AddRegionAdd(Group& region);
void AddRegionList(Group& region);
void AddRegionRemove(Group& region);

void AddEventArchive(Group& event);
void AddEventCount(Group& event);
void AddEventDelete(Group& event);
void AddEventExport(Group& event);
void AddEventFrame(Group& event);
void AddEventList(Group& event);
void AddEventShow(Group& event);
void AddEventTimeline(Group& event);
void AddEventUnarchive(Group& event);

void AddStorageCheck(Group& storage);
void AddStorageClean(Group& storage);
void AddStorageRotate(Group& storage);
void AddStorageUsage(Group& storage);

void AddMailSet(Group& mail);
void AddMailShow(Group& mail);
void AddMailTest(Group& mail);

void AddServiceRestart(Group& service);
void AddServiceStart(Group& service);
void AddServiceStatus(Group& service);
void AddServiceStop(Group& service);

void AddCapabilityList(Group& capability);
void AddCapabilityShow(Group& capability);

void AddDoctor(Group& top);

}  // namespace wpctl
