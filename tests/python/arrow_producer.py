"""A producer of Arrow arrays with the C data interface, using only ctypes."""

import ctypes

_POINTERS = ctypes.POINTER(ctypes.c_void_p)


class _Schema(ctypes.Structure):
    pass


_SCHEMA_RELEASE = ctypes.CFUNCTYPE(None, ctypes.POINTER(_Schema))
_Schema._fields_ = [("format", ctypes.c_char_p), ("name", ctypes.c_char_p), ("metadata", ctypes.c_char_p),
                    ("flags", ctypes.c_int64), ("n_children", ctypes.c_int64), ("children", _POINTERS),
                    ("dictionary", ctypes.c_void_p), ("release", _SCHEMA_RELEASE), ("private_data", ctypes.c_void_p)]


class _Array(ctypes.Structure):
    pass


_ARRAY_RELEASE = ctypes.CFUNCTYPE(None, ctypes.POINTER(_Array))
_Array._fields_ = [("length", ctypes.c_int64), ("null_count", ctypes.c_int64), ("offset", ctypes.c_int64),
                   ("n_buffers", ctypes.c_int64), ("n_children", ctypes.c_int64), ("buffers", _POINTERS),
                   ("children", _POINTERS), ("dictionary", ctypes.c_void_p), ("release", _ARRAY_RELEASE),
                   ("private_data", ctypes.c_void_p)]

_new_capsule = ctypes.pythonapi.PyCapsule_New
_new_capsule.restype = ctypes.py_object
_new_capsule.argtypes = [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_void_p]
_SCHEMA_NAME = b"arrow_schema"
_ARRAY_NAME = b"arrow_array"


class ArrowArray:
    """Texts in Arrow's layout; None is null. `offset` entries come before those of the array."""

    def __init__(self, texts, large=False, offset=0, format=None):
        texts = ["before"] * offset + list(texts)
        data = [text if isinstance(text, bytes) else (text or "").encode("utf-8", "surrogatepass") for text in texts]
        ends = [0]
        for text in data:
            ends.append(ends[-1] + len(text))
        self.bytes = ctypes.create_string_buffer(b"".join(data), ends[-1] + 1)
        self.offsets = ((ctypes.c_int64 if large else ctypes.c_int32) * len(ends))(*ends)
        nulls = [text is None for text in texts]
        self.validity = (ctypes.c_uint8 * (len(texts) // 8 + 1))()
        for index, null in enumerate(nulls):
            self.validity[index // 8] |= (not null) << index % 8
        self.buffers = (ctypes.c_void_p * 3)(ctypes.addressof(self.validity) if any(nulls) else None,
                                             ctypes.addressof(self.offsets), ctypes.addressof(self.bytes))
        self.schema_release = _SCHEMA_RELEASE(lambda schema: None)
        self.array_release = _ARRAY_RELEASE(lambda array: None)
        self.schema = _Schema(format=format or (b"U" if large else b"u"), release=self.schema_release)
        self.array = _Array(length=len(texts) - offset, null_count=sum(nulls), offset=offset, n_buffers=3,
                            buffers=ctypes.cast(self.buffers, _POINTERS), release=self.array_release)

    def __arrow_c_array__(self, requested_schema=None):
        return (_new_capsule(ctypes.addressof(self.schema), _SCHEMA_NAME, None),
                _new_capsule(ctypes.addressof(self.array), _ARRAY_NAME, None))
