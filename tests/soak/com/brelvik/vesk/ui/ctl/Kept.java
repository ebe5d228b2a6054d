package com.brelvik.vesk.ui.ctl;

import java.util.concurrent.atomic.LongAdder;

/**
 * What calls keep on purpose until the process ends.
 *
 * @param bytes of the C heap, by the library
 * @param texts bytes of the C heap, by the VM for the library
 * @param descriptors at most: a connection that broke may be closed already
 * @param references global ones
 */
record Kept(long bytes, long texts, long descriptors, long references) {
    static final Kept NOTHING = new Kept(0, 0, 0, 0);

    Kept plus(Kept other) {
        return new Kept(bytes + other.bytes, texts + other.texts, descriptors + other.descriptors,
                references + other.references);
    }

    /** All that many threads' calls keep. */
    static final class Sum {
        private final LongAdder bytes = new LongAdder();
        private final LongAdder texts = new LongAdder();
        private final LongAdder descriptors = new LongAdder();
        private final LongAdder references = new LongAdder();

        void add(Kept kept) {
            bytes.add(kept.bytes);
            texts.add(kept.texts);
            descriptors.add(kept.descriptors);
            references.add(kept.references);
        }

        Kept now() {
            return new Kept(bytes.sum(), texts.sum(), descriptors.sum(), references.sum());
        }
    }
}
