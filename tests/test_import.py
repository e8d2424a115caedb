import quendalib as quenda


def test_version_is_dotted():
    parts = quenda.getversion().split(".")
    assert len(parts) == 3 and all(p.isdigit() for p in parts)
