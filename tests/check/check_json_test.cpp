// The object that --json prints.
#include <filesystem>

#include "check/CheckRun.h"

namespace {

using json = nlohmann::json;

using CheckJson = CheckTest;

TEST_F(CheckJson, OfACleanPair) {
    PutBoth(kCleanGlobal, kCleanLocal);
    const json object = Json(0);
    EXPECT_EQ(object["directory"], Config());
    EXPECT_EQ(object["verdict"], "clean");
    EXPECT_EQ(object["start"], "form");
    EXPECT_EQ(object["files"], json::parse(R"([{"name": "global.cfg", "load": 2, "messages": []},
                                               {"name": "local.cfg", "load": 2, "messages": []}])"));
    EXPECT_EQ(object["recorder"], json::parse(R"({"id": 1, "count": 2, "name": "Harbour Gate", "cameras": [1, 2],
                                                  "sensors": null})"));
    EXPECT_EQ(object["storages"],
              json::parse(R"([{"role": "recording", "number": 1, "path": "/mnt/a/", "mounted": true},
                              {"role": "recording", "number": 2, "path": "/mnt/b/", "mounted": true},
                              {"role": "general", "number": null, "path": "/mnt/c/", "mounted": true}])"));
    EXPECT_EQ(object["apply"], json::parse(R"({"result": "saved", "changed": [], "dropped": [], "next_start": [],
                                               "autostart": null})"));
    EXPECT_EQ(object["findings"], json::array());
}

TEST_F(CheckJson, HasTheValuesThatTheReadersTookIn) {
    PutBoth(
        "ClusterName = \"A B\"\nNodeCount = 3\nNodesOffline = 2, 64\nCamerasConnectedToNode2 = 3\n"
        "SensorsConnectedToNode2 = 1\nManagerMachineIP = 1.2.3.4, 5.6.7.8\nGeneralStoragePath = \"/mnt/c\"\n"
        "LogLevelNode = 7\nLogLevelManager = 8\nShowAllParameters = 2\nAllowFailedNodes = 1\n",
        "NodeID = 2\nIP = 0.0.0.0, 9.8.7.6\nRecordingStorage3 = \"/mnt/b\"\nRecordingStorage1 = \"/mnt/a\"\n"
        "RecordingStorage2 = \"/mnt/x\"\nSensorStreamPluginName = \"S\"\nPostProcessPluginName = \"P\"\n"
        "MaxMemUseAllowed = 53\n[Camera]\nCaptureDevice = \"n\", \"p\"\nCTI = \"c\", \"d\"\nSyncMode = 4\n"
        "CameraMAC1 = 0a:1:2:3:4:5\nCameraMAC2 = 0a:1:2:3:4:6\nCameraMAC3 = 0a:1:2:3:4:7\nCameraModel = \"m\", \"o\"\n"
        "[Sensor 1]\nCaptureDevice = \"s\", \"t\"\n");
    EXPECT_EQ(Json(1)["values"], json::parse(R"({
        "global": {"cluster_name": "A B", "node_count": 3, "nodes_offline": [2, 64], "cameras_connected": [0, 3, 0],
                   "sensors_connected": [0, 1, 0], "manager_ips": ["1.2.3.4", "5.6.7.8"],
                   "general_storage": "/mnt/c/", "log_level_node": 7, "log_level_manager": 8,
                   "show_all_parameters": true, "allow_failed_devices": false, "allow_failed_nodes": true},
        "local": {"node_id": 2, "ips": ["0.0.0.0", "9.8.7.6"],
                  "recording_storages": ["/mnt/a/", "/mnt/x/", "/mnt/b/"], "camera_stream_plugin": "",
                  "sensor_stream_plugin": "S", "capture_process_plugin": "", "post_process_plugin": "P",
                  "max_mem_use": 52,
                  "sections": [
                      {"type": "camera", "first": 1, "last": 3, "capture_device": ["n", "p"], "cti": ["c", "d"],
                       "sync_mode": 4, "max_dma_buffers": 0, "max_detection_time": 0, "link_speed": 0,
                       "macs": ["0A:01:02:03:04:05", "0A:01:02:03:04:06", "0A:01:02:03:04:07"],
                       "models": [["m", "o"]]},
                      {"type": "sensor", "first": 1, "last": 1, "capture_device": ["s", "t"]}]}})"));
}

TEST_F(CheckJson, HasNoValuesOfAFileThatDoesNotLoad) {
    PutBoth(kCleanGlobal, "NodeID = 3\n");
    const json object = Json(2);
    EXPECT_EQ(object["files"][1]["load"], 0);
    EXPECT_FALSE(object["values"]["global"].is_null());
    EXPECT_TRUE(object["values"]["local"].is_null());
    EXPECT_EQ(object["recorder"]["id"], 1);
    EXPECT_EQ(object["apply"]["result"], "saved");
}

TEST_F(CheckJson, OfALoadOfLocalCfgThatNeverEnds) {
    PutBoth(kCleanGlobal, "x=3456789099camerasoffline=\n");
    const json object = Json(2);
    EXPECT_EQ(object["verdict"], "broken");
    EXPECT_EQ(object["start"], "endless-load");
    EXPECT_EQ(object["files"][0]["load"], 2);
    EXPECT_TRUE(object["files"][1]["load"].is_null());
    ASSERT_EQ(object["files"][1]["messages"].size(), 1U);
    EXPECT_EQ(object["files"][1]["messages"][0]["text"], "Config: Invalid device number in offline list (99)");
    EXPECT_EQ(object["files"][1]["messages"][0]["line"], 1);
    EXPECT_FALSE(object["values"]["global"].is_null());
    EXPECT_TRUE(object["values"]["local"].is_null());
    EXPECT_EQ(object["apply"], json::parse(R"({"result": "unreachable", "changed": [], "dropped": [],
                                               "next_start": [], "autostart": null})"));
}

TEST_F(CheckJson, OfALoadOfGlobalCfgThatNeverEndsHasNothingOfTheOtherFile) {
    PutBoth("NodesOffline = 0\n", "[Camera]\n");
    const json object = Json(2);
    EXPECT_TRUE(object["files"][0]["load"].is_null());
    EXPECT_EQ(object["files"][1], json::parse(R"({"name": "local.cfg", "load": null, "messages": []})"));
    EXPECT_EQ(object["values"], json::parse(R"({"global": null, "local": null})"));
    EXPECT_EQ(object["storages"], json::array());
}

TEST_F(CheckJson, OfAPathThatIsTooLong) {
    PutBoth("ClusterName = a\nNodeCount = 1\nGeneralStoragePath = /" + std::string(511, 'x') + "\n", "NodeID = 1\n");
    const json object = Json(2);
    EXPECT_EQ(object["start"], "path-too-long");
    EXPECT_EQ(object["files"][0]["load"], 2);
    EXPECT_EQ(object["apply"]["result"], "unreachable");
    EXPECT_EQ(object["storages"][0]["mounted"], false);
}

TEST_F(CheckJson, NamesTheFilesThatWouldChangeAndTheLinesThatWouldGo) {
    PutBoth(kCleanGlobal, std::string(kCleanLocal) + "# note\nOther = \"x\"\n[Foo]\n");
    const json apply = Json(1)["apply"];
    EXPECT_EQ(apply["changed"], json::parse(R"(["local.cfg"])"));
    EXPECT_EQ(apply["dropped"], json::parse(R"([{"file": "local.cfg", "line": 14, "text": "Other = \"x\""},
                                                {"file": "local.cfg", "line": 15, "text": "[Foo]"}])"));
}

TEST_F(CheckJson, HasTheMessagesOfTheNextStart) {
    PutBoth(std::string(kCleanGlobal) + "SensorsConnectedToNode1 = 1\n",
            std::string(kCleanLocal) + "[Sensor]\nCaptureDevice = \"a\", \"b\"\n");
    const json object = Json(1);
    EXPECT_EQ(object["files"][1]["messages"], json::array());
    EXPECT_EQ(object["apply"]["next_start"],
              json::parse(R"(["Config: Specified Sensor ID is incorrect (1) for Node 1"])"));
}

TEST_F(CheckJson, OfARefusedApplyNamesNoFiles) {
    PutBoth(kCleanGlobal, std::string(kCleanLocal) + "Other = 1\n");
    Mount({"/mnt/a", "/mnt/b"});
    EXPECT_EQ(Json(1)["apply"], json::parse(R"({"result": "refused", "changed": [], "dropped": [], "next_start": [],
                                                "autostart": null})"));
}

TEST_F(CheckJson, IsANoticeForAValueThatChangesThoughNoLineGoes) {
    PutBoth(kCleanGlobal, std::string(kCleanLocal) + "MaxMemUseAllowed = 53%\n");
    const json object = Json(1);
    EXPECT_EQ(object["apply"]["dropped"], json::array());
    EXPECT_EQ(object["findings"][0]["text"], "\"Apply\" would change MaxMemUseAllowed in local.cfg");
}

// kCleanGlobal with another general storage.
std::string WithGeneralStorage(const std::string& path) {
    std::string text = kCleanGlobal;
    return text.replace(text.find("/mnt/c"), 6, path);
}

TEST_F(CheckJson, FindsTheGeneralStorageAsItStandsOrWithoutClosingSlashes) {
    for (const auto& [path, mountPoint] :
         {std::make_pair("/mnt/rec/", "/mnt/rec/"), {"/mnt//", "/mnt//"}, {"/mnt/rec//", "/mnt/rec"}}) {
        PutBoth(WithGeneralStorage(path), kCleanLocal);
        Mount({"/mnt/a", "/mnt/b", mountPoint});
        EXPECT_EQ(Json(0)["storages"][2]["mounted"], true) << path;
    }
}

TEST_F(CheckJson, FindsARecordingStorageWithoutClosingSlashesAlone) {
    PutBoth(kCleanGlobal, kCleanLocal);
    Mount({"/mnt/a/", "/mnt/b", "/mnt/c"});
    const json object = Json(1);
    EXPECT_EQ(object["storages"][0]["mounted"], false);
    EXPECT_EQ(object["findings"][0]["text"], "recording storage 1 is not mounted: /mnt/a/");
}

// The only drive, which "Apply" takes, is written as the text that stands in the file.
TEST_F(CheckJson, IsCleanForAGeneralStorageThatIsNotMountedButComesBackTheSame) {
    PutBoth(WithGeneralStorage("/mnt/\"whole\""), "NodeID = 1\n");
    Mount({"/mnt/\"whole\""});
    json object = Json(0);
    EXPECT_EQ(object["storages"][0]["mounted"], false);
    EXPECT_EQ(object["findings"], json::array());
    PutBoth(WithGeneralStorage("/mnt/rec//"), "NodeID = 1\n");
    Mount({"/mnt/rec/"});
    object = Json(0);
    EXPECT_EQ(object["storages"][0]["mounted"], false);
    EXPECT_EQ(object["findings"], json::array());
    PutBoth(WithGeneralStorage("/mnt/x/\n# note"), "NodeID = 1\n");
    Mount({"/mnt/x\\012#\\040note"});
    EXPECT_EQ(Json(0)["storages"][0]["mounted"], false);
}

TEST_F(CheckJson, IsANoticeForAGeneralStorageThatIsNotMountedAndChanges) {
    PutBoth(kCleanGlobal, kCleanLocal);
    Mount({"/mnt/d", "/mnt/a", "/mnt/b"});
    const json object = Json(1);
    ASSERT_EQ(object["findings"].size(), 1U);
    EXPECT_EQ(object["findings"][0]["text"], "the general storage is not mounted: /mnt/c/");
}

constexpr char kPlainLocal[] = "NodeID = 1\n\n\n\n";
constexpr char kNotWritten[] = "\"Apply\" could not write global.cfg and would leave global.cfg.temp behind";

// A line of the writer has 2047 bytes at most. The first drive becomes the general storage.
TEST_F(CheckJson, IsANoticeForAFileThatCannotBeWrittenAndLeavesItAsItIs) {
    for (const char* general : {"/", ""}) {
        PutBoth(WithGeneralStorage(general), kPlainLocal);
        const std::size_t longest = 2047 - std::string("GeneralStoragePath = \"\"\n\n").size();
        Mount({"/mnt/" + std::string(longest + 1 - 5, 'x')});
        const json object = Json(1);
        EXPECT_EQ(object["apply"]["result"], "saved");
        EXPECT_EQ(object["apply"]["changed"], json::array());
        EXPECT_EQ(object["apply"]["dropped"], json::array());
        ASSERT_EQ(object["findings"].size(), 1U);
        EXPECT_EQ(object["findings"][0]["text"], kNotWritten);
        EXPECT_EQ(Text(1).find(kNotWritten), 0U);
        Mount({"/mnt/" + std::string(longest - 5, 'x')});
        EXPECT_EQ(Json(1)["apply"]["changed"], json::array({"global.cfg"}));
    }
}

TEST_F(CheckJson, OfAMissingFileThatCannotBeWrittenNamesTheOtherAlone) {
    Put("local.cfg", "");
    Mount({"/mnt/" + std::string(2100, 'x')});
    const json object = Json(2);
    EXPECT_EQ(object["apply"]["changed"], json::array({"local.cfg"}));
    EXPECT_EQ(object["findings"][0]["text"], kNotWritten);
    const std::string text = Text(2);
    EXPECT_EQ(text.find("--- DIR/global.cfg"), std::string::npos) << text;
    EXPECT_NE(text.find("--- DIR/local.cfg\n+++ DIR/local.cfg (after \"Apply\")\n@@ -0,0 +1,4 @@\n+NodeID = 1\n"),
              std::string::npos)
        << text;
}

TEST_F(CheckJson, NamesAHeaderWhoseSectionIsLostThoughAnotherOfItsTypeComesBack) {
    std::string global = kCleanGlobal;
    global.replace(global.find("Node2 = 0"), 9, "Node2 = 4");
    global.replace(global.find("Node1 = 2"), 9, "Node1 = 4");
    PutBoth(global, "NodeID = 2\n[Camera]\n[Camera 6-6]\nCaptureDevice = \"board\", \"board settings\"\n");
    const json dropped = Json(1)["apply"]["dropped"];
    EXPECT_EQ(dropped, json::parse(R"([{"file": "local.cfg", "line": 2, "text": "[Camera]"}])"));
}

TEST_F(CheckJson, IsCleanForAPercentageThatComesBack) {
    PutBoth(kCleanGlobal, std::string(kCleanLocal) + "MaxMemUseAllowed = 52%\n");
    EXPECT_EQ(Json(0)["apply"]["changed"], json::parse(R"(["local.cfg"])"));
}

TEST_F(CheckJson, ShowsANodeIdAboveTheNumberOfFormLabels) {
    PutBoth("ClusterName = a\nNodeCount = 12\n", "NodeID = 11\n");
    const json recorder = Json(1)["recorder"];
    EXPECT_EQ(recorder["id"], 11);
    EXPECT_EQ(recorder["count"], 12);
}

TEST_F(CheckJson, ShowsTheDefaultsOfTheFormForFilesThatAreNotThere) {
    const json object = Json(2);
    EXPECT_EQ(object["recorder"], json::parse(R"({"id": 1, "count": 1, "name": "The Recorder", "cameras": null,
                                                  "sensors": null})"));
    EXPECT_EQ(object["apply"]["changed"], json::parse(R"(["global.cfg", "local.cfg"])"));
}

TEST_F(CheckJson, HasTheReplacementCharacterForBytesThatAreNoUtf8) {
    PutBoth("ClusterName = \"a\xE9z \xE2\x82\xAC \xE2\x82 \xFF\xFE\"\nNodeCount = 1\n", "NodeID = 1\n");
    EXPECT_EQ(Json(1)["recorder"]["name"], "a\uFFFDz \u20AC \uFFFD \uFFFD\uFFFD");
}

TEST_F(CheckJson, HasQuotesAndControlCharactersEscaped) {
    Put("global.cfg", kCleanGlobal);
    Put("local.cfg", std::string(kCleanLocal) + "Odd\t\"\\\x01 = 1\n");
    EXPECT_EQ(Json(1)["apply"]["dropped"][0]["text"], "Odd\t\"\\\x01 = 1");
}

}  // namespace
