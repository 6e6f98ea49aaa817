/* rowrender: reads the payload of a frame, a list of key/value items (see
 * docs/payload.md), and renders it as text for result and export rows.
 * Handles and texts belong to the component; each stays valid until the next
 * call of the same family: row handles until the next row_render_for_query or
 * row_render_for_dump, set and item handles until the next render_set_get.
 * One thread at a time. */
#ifndef QUERN_ROWRENDER_H
#define QUERN_ROWRENDER_H

#ifdef __cplusplus
extern "C" {
#endif

typedef struct RowRender RowRender;
typedef struct RenderSet RenderSet;
typedef struct RenderItem RenderItem;

/* Prepares the result row of a payload; null (see row_render_error) when the
 * payload is damaged. */
RowRender* row_render_for_query(const void* payload, unsigned int size);
/* Prepares the export row of a payload; null when the payload is damaged. */
RowRender* row_render_for_dump(const void* payload, unsigned int size);
/* The main text: "key=value" items without attachments, joined by "; " for a
 * result row; all items joined by TAB for an export row. */
const char* row_render_get(RowRender* handle);
/* The values of the items whose key holds "attachname" / "attachpath", joined by ";". */
const char* row_render_attach_name(RowRender* handle);
const char* row_render_attach_path(RowRender* handle);
/* The reason of the last failure of any call; "" if none failed yet. */
const char* row_render_error(void);

/* Splits a payload into its items; null when the payload is damaged. */
RenderSet* render_set_get(const void* payload, unsigned int size);
/* The number of items; -1 for a null set. */
int render_set_count(RenderSet* set);
/* Item `index` (from 0), or null outside the set. */
RenderItem* render_item_get(RenderSet* set, int index);
/* Key and value up to their first NUL byte; never null ("" for a null item). */
const char* render_item_key(RenderItem* item);
const char* render_item_val(RenderItem* item);

#ifdef __cplusplus
}
#endif

#endif
