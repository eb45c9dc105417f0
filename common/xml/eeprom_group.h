// The calibration group: turns what the module's EEPROMs hold into the tables that channels and
// corrections use. Two passes at start-up:
//
//   WriteEepromToXml    chip -> final XML file ("/varek/config/..._f.xml"): a compressed record is
//                       inflated, a raw image is decoded with its template ("..._t.xml")
//   ReadEeDataFromXml   final XML files -> tables
//
// Implemented in eeprom_group.cpp, eeprom_group_read.cpp, uploaded_files.cpp and xml_post.cpp.
//
// A chip or file that is bad costs its own table, is logged, and never stops the daemon.
//
// Threads: the passes run in the start-up thread, and the tables do not change after them.
// XMLPostResults may be called from any thread.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "common/msg/records/input_mode.h"
#include "common/msg/state/errorcodes.h"
#include "common/xml/cal_tables.h"
#include "common/xml/eeprom_chips.h"
#include "common/xml/eeprom_links.h"
#include "platform/thread_safety.h"

namespace Dev {

class XmlDocument;

class EepromGroup {
 public:
  /// `module` is the MODULE_ID of the daemon. `chips` and `errors` outlive the group.
  EepromGroup(int module, EepromChips& chips, Msg::Errorcodes& errors, EepromLinks links = {});
  EepromGroup(const EepromGroup&) = delete;
  EepromGroup& operator=(const EepromGroup&) = delete;

  /// A path without a divider: scale 1, no correction.
  static constexpr const mode_range_table_ent& identity_tbl = kIdentityEntry;

  // --- The two passes ---

  /// 0, or -1 when the pass was stopped by a block revision or a checksum; then the failure has
  /// been reported to the main module. The argument is not used.
  int WriteEepromToXml(char*);
  /// 0, or -1 with `err` -1 when a channel's calibration is missing: its ranges are then the
  /// default ones.
  int ReadEeDataFromXml(int& err);

  // --- The tables; everybody but their owner asks range_tables.h ---

  /// Null for a channel outside 0 and 1 or a mode (Input_Mode) outside 0 to 4.
  const range_table* GetRangeTable(int channel, int mode) const;
  /// False while the ranges of a channel (0 or 1) are the default ones.
  bool IsCalibrated(int channel) const;
  /// Filter n is row n of the channel's table, from 0. Null for a missing channel.
  const range_table* GetCalTableEnt(int channel) const;
  /// Of the dividers HV1 (0) and HV2 (1); null for any other.
  const range_table* GetMainrefTableEnt(int n) const;
  /// 1: capacitance, 2: resistance; 0 is empty. Null for any other.
  const intcal_table* GetIntcalTableEnt(int n) const;

  // --- Identity and dates, as the files have them; empty until read ---

  std::string getCalDueDate() const { return cal_due_date; }
  std::string getFinalCalDate() const { return fnl_cal_date; }
  std::string GetBrdAssemRev() const { return brd_assem_rev; }
  std::string GetSysSerNum() const { return sys_ser_num; }

  // --- How it ended ---

  /// Reports to the main module: `result` IMSG::kXmlPostPass or IMSG::kXmlPostFail, `failtype` as
  /// in xml_post.h.
  void xml_post_result(int result, int failtype);
  /// On the main module: takes one module's word (IMSG::XmlPostWord) and, of a failure, writes two
  /// lines to that module's diagnostics file.
  void XMLPostResults(int xres);
  /// Code of the last failure ("1705"), or empty.
  std::string PostError() const;

  /// Waits for the main module's answer.
  void WaitForXMLPost();
  /// Waits for the files that the main module uploads. 0 when all are there, else -1 and an error
  /// word.
  int WaitForFile();
  /// Looks at `count` of the files under "/home/root/" that `names` lists, separated by blanks. 1
  /// when all are there and none is growing, else 0, with the name of the one that fails in
  /// `current`.
  int CheckFiles(int count, const char* names, std::string& current);

  /// 1 once a chip with a compressed record has been seen.
  int eepIsCmprssdXml = 0;

 private:
  /// Rows of one channel and the tables that point into them.
  struct ChannelTables {
    std::vector<mode_range_table_ent> ranges;
    std::array<range_table, Msg::INPUT_MODE_COUNT> range_tbl{};  ///< by Input_Mode; Off is unused
    range_table calfilter_tbl{};
    bool calibrated = false;  ///< from a file, not the default ranges
  };

  /// How one chip ended: its file is there; there is nothing to write; it is bad; the pass ends.
  enum class Pass { Written, Next, Bad, Fail };

  Pass WriteOne(std::size_t place);
  Pass WriteRaw(std::size_t place);
  bool UpdateFile(const EepromChip& chip);
  void WarnOf(EepromKind kind) const;
  void Upload() const;

  int ReadMainModule();
  int ReadMeasModule();
  int ReadUploadedFiles();
  void ReadDatesAndRevisions();
  int ReadChannel(ChannelTables& tables);
  static void SetDefaultTable(ChannelTables& tables);
  void ReadIntCalFromXml(const XmlDocument& document, const char* path);
  int ReadMRScalCalFromXml(const char* name, int& err);
  void ReadBrdAssRevFromXml(const XmlDocument& document);
  void ReadSSNFromXml(const XmlDocument& document);
  void ReadSystemDates(const XmlDocument& document);
  void SetMainrefError(const char* text, int step);

  const int module_;
  EepromChips& chips_;
  Msg::Errorcodes& errors_;
  const EepromLinks links_;

  std::string _file_t;  ///< template of the chip at hand
  std::string _file_f;  ///< its final XML file

  std::array<ChannelTables, 2> channels_;
  std::vector<mode_range_table_ent> mainref_rows_;
  std::array<range_table, 2> mainref_tbl{};
  std::vector<mode_intcal_table_ent> intcals;
  std::array<intcal_table, 3> intcal_tbl{};

  std::string sys_ser_num;
  std::string brd_assem_rev;
  std::string fnl_cal_date;
  std::string cal_due_date;

  mutable platform::Mutex post_err_mutex_;
  std::string post_err Q5_GUARDED_BY(post_err_mutex_);
};

}  // namespace Dev
