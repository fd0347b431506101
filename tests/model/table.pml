/*
 * The parallel hash table as a model for spin: claim, publish and delete of buckets, quotas, fingerprints, the slots
 * of threads, and cooperative resizing. Names and numbers of invariants are those of ParallelHashTable.h,
 * ParallelHashTableImpl.h, Fingerprints.h and TableThreadContext.h.
 *
 * Steps       Each is one access to memory that other threads can see. A few are two: a publication also takes from the
 *             quota of its slot, a deletion also counts the tombstone, the end of a preparation also wakes the parked
 *             threads, and who gives fingerprints back looks at them and at the resize state. No other thread relies on
 *             the order of these.
 * Processes   Inserters resolve strings, a deleter withdraws one, a reader looks strings up and may give the
 *             fingerprints back. INSERTERS and RESOLVES set how many of them there are and what each does.
 * Slots       Inserters 0 and 2 share slot 0; inserter 1 has slot 1, the reader the last slot, and the deleter the one
 *             before it.
 * Table       BUCKETS at the start and at most 8 at the end, chunks of one bucket, quotas of one insertion. All but one
 *             of the strings have their home in the last bucket, so that probes wrap around.
 * Failures    Memory for a new array, for fingerprints and for a new resource may be missing at any time; FAILURES
 *             limits how often that happens for resources and arrays.
 * Left out    Memory orders: every step is seen by all processes immediately. Batches and reads of many fingerprints
 *             together, which are several of these probes. Commit points, which only hide what was found. Touching the
 *             new array, and the second attempt after memory was reclaimed. Spurious wake-ups, after which a thread
 *             looks at the same condition again. Statistics, and what runs alone.
 *
 * Checked     No deadlock: a wait is a step that cannot be made. At every publication the string is in no other bucket.
 *             A lookup, a resolution or a deletion that starts after a string can be read finds it, unless it is
 *             withdrawn meanwhile. B4 after each change of a counter, F1 to F3 after each change of a bucket, Z2, Z3.
 *             At the end, probes with and without fingerprints find what they must.
 */

#ifndef INSERTERS
#define INSERTERS 3
#endif
#ifndef RESOLVES /* of inserter 0; the others resolve one string each */
#define RESOLVES 2
#endif
#ifndef WITHDRAWN /* the string that the deleter withdraws */
#define WITHDRAWN 0
#endif
#ifndef SOUGHT /* the string that the reader looks up; 3: it gives the fingerprints back instead; 4: it does nothing */
#define SOUGHT 0
#endif
#ifndef IS_LATE /* 1: the reader starts when it can find its string, or after the inserters; 0: at any time */
#define IS_LATE 0
#endif
#ifndef THIRD /* the string that inserter 2 resolves */
#define THIRD 2
#endif
#ifndef COMPLETE /* 0: string 2 is there at the start, and its fingerprint is unknown */
#define COMPLETE 1
#endif
#ifndef BUCKETS /* at the start */
#define BUCKETS 2
#endif
#ifndef FAILURES
#define FAILURES 1
#endif
#ifndef FINGERPRINTS /* resizes to more buckets have memory for fingerprints: 0: never, 1: always, 2: at times */
#define FINGERPRINTS 2
#endif
#ifndef SLOTS /* 4, or 3: the deleter shares the slot of inserter 1 */
#define SLOTS 4
#endif
#ifndef LOAN /* 1: inserter 1 has a ThreadContextLoan, and rehashes alone */
#define LOAN 0
#endif

/* Buckets */
#define EMPTY 0
#define IN_PROGRESS 1
#define DELETED 2
#define FIRST_STRING 3 /* a bucket that holds string n has the value FIRST_STRING + n */
#define STRINGS 3

#define HASH(string) (string == 0 -> 3 : (string == 1 -> 11 : 0))
#define FINGERPRINT(string) (string == 1 -> 2 : 1)
#define HOME(string) (HASH(string) & (buckets - 1))
#define NEXT(index) ((index + 1) & (buckets - 1))
#define NO_STRING 255

/* Sizes */
#define MAXIMUM 8
#define THRESHOLD(size) (size == 2 -> 1 : (size == 4 -> 2 : 6))
#define BATCH 1

/* Resize states; smaller numbers are chunks */
#define NOT_RESIZING 255
#define PREPARING 254

#define FIRST_SLOT 0
#define NOBODY 255

/* The table */
byte bucket[MAXIMUM];
byte fingerprint[MAXIMUM];
bool haveFingerprints = true;
bool areComplete = COMPLETE;
byte buckets = BUCKETS;
byte used;
byte deleted;
byte quota[SLOTS];

byte oldBucket[MAXIMUM];
byte chunks; /* of the old array */
byte pendingChunks;
byte resizeState = NOT_RESIZING;
bool resizeMutex;
bool isAsleep[INSERTERS + 3]; /* at the resize's condition, by process */

byte lockCount[SLOTS];
bool wakeUp[SLOTS];

/* What only the checks know */
bool isReadable[STRINGS]; /* by an ID: its datatype byte is stored, and it is not withdrawn */
byte withdrawals;
byte failures;
byte holder[SLOTS] = NOBODY; /* a process */
bool isExclusive;            /* a leader holds all slots */
byte finished;               /* inserters */

/* Slots */

inline acquire(slot) {
    d_step { flag = lockCount[slot] != 0; lockCount[slot]++; holdUnless(flag, slot) } /* T1 */
    if
    :: flag -> atomic { wakeUp[slot] -> wakeUp[slot] = false; flag = false; holdUnless(flag, slot) } /* T3 */
    :: else
    fi
}

inline holdUnless(condition, slot) {
    if
    :: condition
    :: else -> assert(holder[slot] == NOBODY); holder[slot] = _pid /* S1 */
    fi
}

inline release(slot) {
    d_step {
        assert(holder[slot] == _pid);
        holder[slot] = NOBODY;
        lockCount[slot]--; /* T2 */
        flag = lockCount[slot] != 0
    }
    if
    :: flag -> d_step { assert(!wakeUp[slot]); wakeUp[slot] = true; flag = false } /* S2, T3 */
    :: else
    fi
}

/* Checks */

#define OCCUPIED(index) (bucket[index] >= DELETED -> 1 : 0)

inline checkCounters() { /* B4 */
    assert(resizeState != NOT_RESIZING && resizeState != PREPARING ||
           used == quota[0] + quota[1] + quota[2] + (SLOTS - 3) * quota[SLOTS - 1] +
                       OCCUPIED(0) + OCCUPIED(1) + OCCUPIED(2) + OCCUPIED(3) +
                       OCCUPIED(4) + OCCUPIED(5) + OCCUPIED(6) + OCCUPIED(7));
    assert(used <= THRESHOLD(buckets)) /* B5 */
}

inline checkFingerprint(index) {
    /* F2, F1, F3 */
    assert(!haveFingerprints || fingerprint[index] == 0 || bucket[index] != EMPTY);
    assert(!haveFingerprints || fingerprint[index] == 0 || bucket[index] < FIRST_STRING ||
           fingerprint[index] == FINGERPRINT((bucket[index] - FIRST_STRING)));
    assert(!haveFingerprints || !areComplete || fingerprint[index] != 0 || bucket[index] < FIRST_STRING ||
           resizeState != NOT_RESIZING)
}

/* Only a holder of a slot may touch a bucket, when no leader is exclusive and no resize is under way; Z2, Z3. */
inline checkAccess(slot) {
    assert(holder[slot] == _pid && !isExclusive && (resizeState == NOT_RESIZING || resizeState == PREPARING))
}

/*
 * Resizing. The variables of a process: `slot`, its own; `seen`, the resize state that it saw; `index` and `value` of a
 * bucket; `other`, to count; `flag`, for the outcome of one step; `isLeader`; `hasFailed`.
 */

inline lockResize() {
    atomic { !resizeMutex -> resizeMutex = true }
}

inline publishResizeState(state) {
    lockResize();
    d_step {
        resizeState = state; /* P2 */
        isExclusive = false;
        for (other : 0 .. INSERTERS + 2) { isAsleep[other] = false }
        other = 0
    }
    resizeMutex = false
}

inline waitWhilePreparing() {
    release(slot);
    lockResize();
    do
    :: resizeState == PREPARING -> /* P3 */
        d_step { resizeMutex = false; isAsleep[_pid] = true }
        !isAsleep[_pid];
        lockResize()
    :: else -> break
    od;
    resizeMutex = false;
    acquire(slot)
}

inline acquireAllOthers() {
    other = FIRST_SLOT;
    do
    :: other == SLOTS -> break
    :: other != SLOTS && other == slot -> other++
    :: else -> acquire(other); other++
    od;
    other = 0;
    d_step { assert(!isExclusive); isExclusive = true }
}

inline releaseAllOthers() {
    other = FIRST_SLOT;
    do
    :: other == SLOTS -> break
    :: other != SLOTS && other == slot -> other++
    :: else -> release(other); other++
    od;
    other = 0
}

/* Moves chunk `chunk` of the old array, which is one bucket. */
inline rehashChunk(chunk) {
    d_step { assert(chunk < chunks); value = oldBucket[chunk]; assert(value != IN_PROGRESS) }
    if
    :: value == DELETED -> quota[slot] = quota[slot] + 1 /* Z5 */
    :: value >= FIRST_STRING ->
        index = HOME((value - FIRST_STRING));
        do
        :: haveFingerprints && fingerprint[index] != 0 -> index = NEXT(index)
        :: else ->
            atomic {
                if
                :: bucket[index] == EMPTY -> bucket[index] = value; break /* O6 */
                :: else -> index = NEXT(index)
                fi
            }
        od;
        fingerprint[index] = (haveFingerprints -> FINGERPRINT((value - FIRST_STRING)) : 0) /* H1 */
    :: else
    fi;
    d_step { index = 0; value = 0 }
}

inline finishRehash() {
    deleted = 0;
    d_step {
        for (index : 0 .. MAXIMUM - 1) { oldBucket[index] = EMPTY }
        index = 0
    }
}

/* Helps with the resize that was seen in `seen`, until there is none. */
inline handleResize() {
    do
    :: seen == NOT_RESIZING -> break
    :: seen == PREPARING ->
        waitWhilePreparing();
        seen = resizeState /* P3 */
    :: seen < chunks ->
        d_step {
            flag = (resizeState == seen);
            if
            :: flag -> resizeState++ /* P4 */
            :: else -> seen = resizeState /* P3 */
            fi
        }
        if
        :: flag ->
            flag = false;
            rehashChunk(seen);
            d_step { pendingChunks--; flag = (pendingChunks == 0) } /* P5 */
            if
            :: flag ->
                flag = false;
                finishRehash();
                d_step { resizeState = NOT_RESIZING; seen = NOT_RESIZING; checkCounters() } /* P6 */
            :: else -> seen = resizeState /* P3 */
            fi
        :: else
        fi
    :: else -> resizeState != seen; seen = resizeState /* P3 */
    od
}

inline electLeader() {
    d_step {
        seen = resizeState;
        isLeader = (seen == NOT_RESIZING);
        if
        :: isLeader -> resizeState = PREPARING /* P1 */
        :: else /* P3 */
        fi
    }
}

/* A new array of `newBuckets` takes the place of the old one. */
inline swapArrays(newBuckets) {
    for (other : 0 .. MAXIMUM - 1) {
        oldBucket[other] = bucket[other];
        bucket[other] = EMPTY;
        fingerprint[other] = 0
    }
    other = 0;
    chunks = buckets;
    pendingChunks = buckets;
    buckets = newBuckets;
    assert(buckets <= MAXIMUM)
}

inline startHandleResize() {
    electLeader();
    if
    :: isLeader ->
        acquireAllOthers();
        if
        :: failures < FAILURES -> d_step { failures++; hasFailed = true }
#if FINGERPRINTS != 0
        :: d_step { swapArrays(2 * buckets); haveFingerprints = true; areComplete = true }
#endif
#if FINGERPRINTS != 1
        :: d_step { swapArrays(2 * buckets); haveFingerprints = false; areComplete = false }
#endif
        /* The table wants more tombstones than half of its buckets before it keeps its size; here one is enough. */
        :: deleted > 0 -> d_step { swapArrays(buckets); haveFingerprints = true; areComplete = true }
        fi;
        if
        :: hasFailed -> publishResizeState(NOT_RESIZING)
        :: !hasFailed && LOAN && _pid == 2 ->
            for (seen : 0 .. chunks - 1) { rehashChunk(seen) }
            seen = NOT_RESIZING;
            pendingChunks = 0;
            finishRehash();
            publishResizeState(NOT_RESIZING)
        :: else -> publishResizeState(0); seen = 0
        fi;
        releaseAllOthers();
        isLeader = false
    :: else
    fi;
    handleResize()
}

/* Operations */

/* Starts an operation, which may rely on what can be found now. */
inline enter() {
    d_step { mustFind = isReadable[string]; withdrawalsBefore = withdrawals }
    acquire(slot);
    seen = resizeState; /* P3 */
    handleResize()
}

/* Ends one. Where it probed, `value` is what it found. */
inline leave(hasProbed) {
    d_step {
        assert(!hasProbed || value != EMPTY || !mustFind ||
               (string == WITHDRAWN && withdrawals != withdrawalsBefore));
        mustFind = false;
        withdrawalsBefore = 0;
        index = 0;
        value = 0
    }
    release(slot)
}

inline reserveInsertionQuota() {
    do
    :: quota[slot] > 0 || hasFailed -> break
    :: else ->
        value = used;
        if
        :: THRESHOLD(buckets) < value + BATCH -> value = 0; startHandleResize()
        :: else ->
            d_step {
                if
                :: used == value -> used = used + BATCH; quota[slot] = BATCH /* O7 */
                :: else
                fi;
                value = 0;
                checkCounters()
            }
        fi
    od
}

/*
 * Probes for `string`. `value` is what the bucket at `index`, the last one, held: the string, or EMPTY. A lookup may
 * end at an unknown fingerprint.
 */
inline probe(isLookup, isInsertion) {
    index = HOME(string);
    do
    :: haveFingerprints && fingerprint[index] != 0 && fingerprint[index] != FINGERPRINT(string) -> /* H2 */
        index = NEXT(index)
    :: else ->
        if
        :: isLookup && haveFingerprints && areComplete && fingerprint[index] == 0 -> value = EMPTY; break /* F3, H2 */
        :: else ->
            atomic { bucket[index] != IN_PROGRESS -> value = bucket[index]; checkAccess(slot) } /* O3 */
            if
            :: value == EMPTY ->
                if
                :: isInsertion ->
                    atomic {
                        if
                        :: bucket[index] == EMPTY -> bucket[index] = IN_PROGRESS; break /* O1 */
                        :: else -> value = 0 /* Look at it again. */
                        fi
                    }
                :: else -> break
                fi
            :: value >= FIRST_STRING ->
                if
                :: (isLookup || isInsertion) && haveFingerprints && !areComplete && fingerprint[index] == 0 -> /* H2 */
                    d_step { /* H1 */
                        fingerprint[index] = FINGERPRINT((value - FIRST_STRING));
                        checkFingerprint(index)
                    }
                :: else
                fi;
                if
                :: value == FIRST_STRING + string -> break
                :: else -> index = NEXT(index)
                fi
            :: else -> index = NEXT(index)
            fi
        fi
    od;
    true /* spin wants no jump into what follows */
}

inline resolve() {
    enter();
    reserveInsertionQuota();
    if
    :: hasFailed -> hasFailed = false; leave(false)
    :: else ->
        probe(false, true);
        if
        :: value == EMPTY && failures < FAILURES -> /* no memory */
            d_step { failures++; bucket[index] = EMPTY; checkFingerprint(index) } /* O4 */
        :: value == EMPTY ->
            d_step { /* H1 */
                fingerprint[index] = (haveFingerprints -> FINGERPRINT(string) : 0);
                checkFingerprint(index)
            }
            d_step { assert(!isReadable[string]); isReadable[string] = true } /* D1 */
            d_step {
                for (other : 0 .. MAXIMUM - 1) { assert(bucket[other] != FIRST_STRING + string) } /* B3 */
                other = 0;
                checkAccess(slot);
                bucket[index] = FIRST_STRING + string; /* O2 */
                quota[slot] = quota[slot] - 1;
                checkFingerprint(index);
                checkCounters()
            }
        :: else
        fi;
        leave(true)
    fi
}

inline lookUp() {
    enter();
    probe(true, false);
    leave(true)
}

inline withdraw() {
    enter();
    probe(false, false);
    d_step {
        assert(value != EMPTY);
        checkAccess(slot);
        bucket[index] = DELETED; /* O5 */
        deleted++; /* O8 */
        isReadable[string] = false;
        withdrawals++;
        checkCounters()
    }
    leave(true)
}

inline giveUpFingerprints() {
    if
    :: !haveFingerprints && resizeState == NOT_RESIZING /* P3 */
    :: else ->
        enter();
        do
        :: isLeader -> break
        :: else -> electLeader(); handleResize()
        od;
        acquireAllOthers();
        d_step {
            haveFingerprints = false;
            areComplete = false;
            for (index : 0 .. MAXIMUM - 1) { fingerprint[index] = 0 }
        }
        publishResizeState(NOT_RESIZING);
        releaseAllOthers();
        isLeader = false;
        leave(false)
    fi
}

/* Processes */

#define VARIABLES \
    bool flag, isLeader, hasFailed, mustFind; \
    byte seen = NOT_RESIZING, index, value, other, string, withdrawalsBefore

proctype inserter(byte slot; byte firstString; byte strings) {
    VARIABLES;
    byte resolved;
    do
    :: resolved == strings -> break
    :: else -> string = (firstString + resolved) % STRINGS; resolve(); resolved++
    od;
    finished++
}

proctype deleter(byte slot) {
    VARIABLES;
    string = WITHDRAWN;
    if
    :: isReadable[string] -> withdraw()
    :: finished == INSERTERS
    fi
}

proctype reader(byte slot) {
    VARIABLES;
#if SOUGHT < STRINGS
    string = SOUGHT;
#if IS_LATE
    if
    :: isReadable[string]
    :: finished == INSERTERS
    fi;
#endif
    lookUp()
#elif SOUGHT == STRINGS
    giveUpFingerprints()
#endif
}

/* What must be true when everything is done. Nothing runs beside it. */
inline checkEnd() {
    assert(resizeState == NOT_RESIZING && !resizeMutex && !isExclusive);
    for (slot : 0 .. SLOTS - 1) { assert(lockCount[slot] == 0 && !wakeUp[slot] && holder[slot] == NOBODY) }
    checkCounters();
    for (index : 0 .. MAXIMUM - 1) {
        assert(bucket[index] != IN_PROGRESS && (index < buckets || bucket[index] == EMPTY));
        checkFingerprint(index);
        other = other + (bucket[index] == DELETED -> 1 : 0)
    }
    assert(deleted == other);
    for (string : 0 .. STRINGS - 1) {
        other = 0;
        for (index : 0 .. MAXIMUM - 1) { other = other + (bucket[index] == FIRST_STRING + string -> 1 : 0) }
        assert(other == (isReadable[string] -> 1 : 0));
        index = HOME(string);
        do
        :: bucket[index] == EMPTY || bucket[index] == FIRST_STRING + string -> break
        :: else -> index = NEXT(index)
        od;
        assert((bucket[index] != EMPTY) == isReadable[string])
    }
}

init {
    byte slot, index, other, string;
    atomic {
        if
        :: !COMPLETE -> bucket[HOME(2)] = FIRST_STRING + 2; isReadable[2] = true; used = 1
        :: else
        fi;
        run inserter(0, 0, RESOLVES);
#if INSERTERS > 1
        run inserter(1, 0, 1);
#endif
#if INSERTERS > 2
        run inserter(0, THIRD, 1);
#endif
        run deleter(SLOTS - 2);
        run reader(SLOTS - 1)
    }
    _nr_pr == 1;
    d_step { checkEnd() }
}
