"""The include check passes the tree as it is and finds each planted fault."""

import pathlib
import shutil
import subprocess
import tempfile
import unittest

PROJECT = pathlib.Path(__file__).resolve().parents[2]


class CheckIncludesTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.tree = pathlib.Path(folder.name)
        for name in ("base", "include", "src", "platform", "examples"):
            shutil.copytree(PROJECT / name, self.tree / name)

    def plant(self, path, text):
        file = self.tree / path
        old = file.read_text(encoding="utf-8") if file.exists() else ""
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(text + "\n" + old, encoding="utf-8")

    def check(self):
        return subprocess.run([PROJECT / "scripts/check-includes", self.tree],
                              capture_output=True, text=True, check=False)

    def expect_fault(self, text):
        run = self.check()
        self.assertEqual(run.returncode, 1)
        self.assertIn(text, run.stderr)

    def test_tree_as_it_is_passes(self):
        run = self.check()

        self.assertEqual((run.returncode, run.stderr), (0, ""))

    def test_upward_include_is_found(self):
        self.plant("src/record/session.cc", '#include "sharing_db.h"')

        self.expect_fault("src/record/session.cc: includes include/sharing_db.h, "
                          "but record does not see core")

    def test_core_including_a_store_is_found(self):
        self.plant("src/db/base_db.cc", '#include "object_db.h"')

        self.expect_fault("src/db/base_db.cc: includes include/object_db.h, "
                          "but core does not see stores")

    def test_core_including_a_header_beside_a_store_is_found(self):
        self.plant("src/db/condition.cc", '#include "db/stores/store_sql.h"')

        self.expect_fault("src/db/condition.cc: includes src/db/stores/store_sql.h, "
                          "but core does not see stores")

    def test_public_header_including_a_header_beside_a_source_is_found(self):
        self.plant("include/utils.h", '#include "utils/log.h"')

        self.expect_fault("include/utils.h: includes src/utils/log.h, "
                          "but a public header includes public headers only")

    def test_circle_is_found(self):
        self.plant("include/session.h", '#include "token.h"')
        self.plant("include/token.h", '#include "session.h"')

        self.expect_fault("circle: ")
        self.expect_fault("include/session.h -> include/token.h")

    def test_public_header_including_an_internal_one_is_found(self):
        self.plant("include/utils.h", '#include "internal/popen.h"')

        self.expect_fault("include/utils.h: includes include/internal/popen.h, "
                          "but a public header includes public headers only")

    def test_public_header_including_the_platform_is_found(self):
        self.plant("include/utils.h", "#include <vexo/account.h>")

        self.expect_fault("include/utils.h: includes platform/include/vexo/account.h, "
                          "but a public header includes public headers only")

    def test_provider_including_the_library_is_found(self):
        self.plant("platform/linux/db.cc", '#include "keys.h"')

        self.expect_fault("platform/linux/db.cc: includes include/keys.h, "
                          "but provider does not see utils")

    def test_base_including_another_room_is_found(self):
        self.plant("base/text.h", '#include "keys.h"')

        self.expect_fault("base/text.h: includes include/keys.h, but base does not see utils")

    def test_base_is_seen_by_its_full_name_only(self):
        self.plant("src/utils/utils_text.cc", '#include "base/text.h"')
        self.assertEqual(self.check().stderr, "")

        self.plant("src/utils/utils_text.cc", '#include "unique_fd.h"')
        self.expect_fault("includes unique_fd.h, which is not in the tree")

    def test_example_including_an_internal_header_is_found(self):
        self.plant("examples/share.cc", "#include <vexosharing/internal/popen.h>")

        self.expect_fault("examples/share.cc: includes include/internal/popen.h, "
                          "but tools does not see utils")

    def test_unknown_room_is_found(self):
        self.plant("src/attic/old.cc", "")

        self.expect_fault("src/attic/old.cc: is in no layer")

    def test_missing_file_is_found(self):
        self.plant("src/db/base_db.cc", '#include "no_such.h"')

        self.expect_fault("src/db/base_db.cc: includes no_such.h, "
                          "which is not in the tree")


if __name__ == "__main__":
    unittest.main()
